#include "kfio/kfio.h"

#include "kfio/document_depth.h"
#include "kfio/product_tree.h"
#include "kfnp/kfnp.h"
#include "ktxt/ktxt.h"
#include "support/temporary_folder.h"

#include <boost/property_tree/xml_parser.hpp>
#include <cpl_vsi.h>
#include <gtest/gtest.h>

#include <sstream>

TEST(FileNames, PartsOfAName) {
    struct Case {
        std::u16string name, path, base, extension;
    };
    const Case cases[] = {{u"/a b/CAPELLA_é.v1.json", u"/a b/", u"CAPELLA_é.v1", u".json"},
                          {u"product.XML", u"", u"product", u".XML"},
                          {u"/a.d/product", u"/a.d/", u"product", u""},
                          {u"/vsizip//x.zip/p/产.xml", u"/vsizip//x.zip/p/", u"产", u".xml"},
                          {u"", u"", u"", u""},
                          {u"/a/", u"/a/", u"", u""}};
    for (const Case& c : cases) {
        EXPECT_EQ(kfnp_FileNameGetPathPart(c.name), c.path);
        EXPECT_EQ(kfnp_FileNameGetBasePart(c.name), c.base);
        EXPECT_EQ(kfnp_FileNameGetExtPart(c.name), c.extension);
    }
}

TEST(FileNames, CleaningKeepsWhatStandsBeforeThePathProper) {
    const std::pair<const char*, const char*> cases[] = {
        {"/a//b/./c.tif", "/a/b/c.tif"},
        {"/a/link/../b", "/a/link/../b"}, // only the system knows where a link leads
        {"a//b", "a/b"},
        {"./", "."},
        {"/vsizip//home/x.zip/P/metadata//../imagery/a.tif", "/vsizip//home/x.zip/P/imagery/a.tif"},
        {"/vsizip/x.zip//a.tif", "/vsizip/x.zip/a.tif"},
        {"/vsicurl/https://host/a//b/../c.xml", "/vsicurl/https://host/a/c.xml"},
        {"/vsizip//vsicurl/https://host/x.zip//a.xml", "/vsizip//vsicurl/https://host/x.zip/a.xml"},
        {"/vsimem/../../x", "/vsimem/../../x"}, // nothing is left to climb from
    };
    for (const auto& [name, cleaned] : cases)
        EXPECT_EQ(kfnp::clean(name), cleaned) << name;
    EXPECT_EQ(kfnp::lastComponent("https://h/p/a.tif?k=x/y#z"), "a.tif");
    EXPECT_EQ(kfnp::lastComponent("p/a?b.tif"), "a?b.tif");
}

TEST(Files, LocalAndVirtualFilesAnswerAlike) {
    const support::TemporaryFolder folder;
    const std::string text = "<a>\r\n</a>";
    const std::string local = folder.write("x.xml", text);
    const std::string virtualName = "/vsimem/kfio_test/x.xml";
    VSILFILE* file = VSIFOpenL(virtualName.c_str(), "wb");
    VSIFWriteL(text.data(), 1, text.size(), file);
    VSIFCloseL(file);

    for (const std::string& name : {local, virtualName}) {
        const std::u16string wide = ktxt::widen(name);
        EXPECT_TRUE(kfio_FileExists(wide));
        std::string reason;
        EXPECT_EQ(kfio::readDocument(name, reason), text);
        kerr::Slot slot;
        KFIO_STAT_CACHE* cache = kfio_StatCacheCreate(wide, slot);
        for (const int item : {5, 6, 23})
            EXPECT_EQ(kfio_StatCacheGet(cache, item, slot), 1) << item;
        EXPECT_GT(kfio_StatCacheGet(cache, 16, slot), 1'000'000'000);
        EXPECT_FALSE(slot.get());
        EXPECT_EQ(kfio_StatCacheGet(cache, 7, slot), 0);
        EXPECT_TRUE(slot.get());
        kfio_StatCacheFree(cache);

        const auto missing = name + ".none";
        EXPECT_FALSE(kfio_FileExists(ktxt::widen(missing)));
        EXPECT_EQ(kfio::readDocument(missing, reason), std::nullopt);
        EXPECT_EQ(reason, "does not exist");
    }
    std::string reason;
    EXPECT_EQ(kfio::readDocument(folder.path().string(), reason), std::nullopt);
    EXPECT_EQ(reason, "is not a file");
    EXPECT_FALSE(kfio_FileExists(u""));
}

TEST(Documents, DepthIsFoundWithoutRecursion) {
    EXPECT_EQ(kfio::xmlDepth("<?xml version='1.0'?><!-- <a><b> --><a x='>' y=\"/>\"><b/><c></c></a>"),
              2U);
    EXPECT_EQ(kfio::xmlDepth("<a><![CDATA[<b><c><d>]]></a>"), 1U);
    EXPECT_EQ(kfio::xmlDepth("</a></a><a>"), 1U);
    EXPECT_EQ(kfio::xmlDepth("<"), 1U);
    EXPECT_EQ(kfio::xmlDepth("<a><!-- "), 1U);
    // Letters to the parser, however they look; end tags that it never sees.
    EXPECT_EQ(kfio::xmlDepth("<a'><b=\"><c d\"=''><!e '><f>"), 4U);
    for (const char* hidden : {"<!--></a>-->", "<?></a>?>", "<!DOCTYPE b [ > </a> ]>"})
        EXPECT_EQ(kfio::xmlDepth(std::string("<a>") + hidden + "<a>" + hidden + "<a>"), 3U);
    EXPECT_EQ(kfio::jsonDepth(R"({"a":["[{\"[","x"],"b":{}})"), 2U);
    EXPECT_EQ(kfio::jsonDepth("]]]["), 1U);

    // The guard must not be looser than the parser: what it lets pass is parsed.
    std::string nested, closing;
    for (std::size_t i = 0; i < kfio::maximumDocumentDepth; ++i) {
        nested += "<a b='>'>";
        closing += "</a>";
    }
    const support::TemporaryFolder folder;
    EXPECT_NO_THROW(kfio::readXmlTree(folder.write("deep.xml", nested + closing)));
    try {
        kfio::readXmlTree(folder.write("deeper.xml", "<a>" + nested + closing + "</a>"));
        FAIL() << "must be refused";
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find("deeper.xml"), std::string::npos);
        EXPECT_NE(std::string(error.what()).find("nests deeper"), std::string::npos);
    }
}

TEST(Documents, XmlTreesAreThoseOfTheGenericParser) {
    namespace pt = boost::property_tree;
    const support::TemporaryFolder folder;
    for (const char* text :
         {"<a/>", "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!DOCTYPE a>\n<a b='1' c=\"&lt;2\">\n"
                  " x <b/> y &amp; &#233; <!-- note --><d>  1  2\r\n</d><d/><![CDATA[<raw>]]></a>\n",
          "<a", "<a>\n\n</b>", "<a>\n<b>&#x110000;</b></a>", "", "text", "<a></a><b></b>"}) {
        const std::string name = folder.write("a.xml", text);
        std::istringstream stream(text);
        pt::ptree expected;
        unsigned long line = 0;
        try {
            pt::read_xml(stream, expected);
        } catch (const pt::xml_parser_error& error) {
            line = error.line();
        }
        try {
            EXPECT_EQ(kfio::readXmlTree(name), expected) << text;
            EXPECT_EQ(line, 0U) << text;
        } catch (const pt::xml_parser_error& error) {
            EXPECT_EQ(error.line(), line) << text;
            EXPECT_EQ(error.filename(), name);
        }
    }
}
