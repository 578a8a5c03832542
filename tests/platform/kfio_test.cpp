// SPDX-License-Identifier: MIT
#include "kfio/kfio.h"

#include "kfio/product_tree.h"
#include "kfio/virtual_files.h"
#include "kfnp/kfnp.h"
#include "ktxt/ktxt.h"
#include "support/temporary_folder.h"

#include <boost/property_tree/xml_parser.hpp>
#include <cpl_vsi.h>
#include <gmock/gmock.h>

#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

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
    const timespec times[2] = {{1'234'567'890, 987'654'321}, {1'234'567'890, 987'654'321}};
    utimensat(AT_FDCWD, local.c_str(), times, 0);
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
        if (name == local) {
            EXPECT_EQ(kfio_StatCacheGet(cache, 16, slot), 1'234'567'890);
        }
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

TEST(Files, LinksMayLeadIntoAStoreTogether) {
    namespace fs = std::filesystem;
    const support::TemporaryFolder folder;
    const fs::path store = folder.path() / "store/objects", product = folder.path() / "work/a/p";
    const fs::path foreign = folder.path() / "foreign";
    for (const fs::path& each : {store / "1", store / "2", product, foreign})
        fs::create_directories(each);
    for (const fs::path& each :
         {store / "1/xml", store / "2/tif", foreign / "tif", product / "own.tif", product / "own.xml"})
        std::ofstream(each) << "x";
    fs::create_symlink(store / "1/xml", product / "product.xml");
    fs::create_symlink(store / "2/tif", product / "image.tif");
    fs::create_symlink(foreign / "tif", product / "foreign.tif");
    fs::create_symlink(product / "image.tif", product / "chain.tif");
    struct Case {
        const char *product, *file;
        bool leaves;
    };
    const Case cases[] = {
        {"product.xml", "image.tif", false},  {"product.xml", "chain.tif", false},
        {"product.xml", "own.tif", false},    {"own.xml", "own.tif", false},
        {"own.xml", "image.tif", true},       {"product.xml", "foreign.tif", true},
        {"product.xml", "missing.tif", false}};
    for (const Case& c : cases)
        EXPECT_EQ(kfio::linkLeavesProduct(product / c.product, product / c.file), c.leaves)
            << c.product << " " << c.file;
}

TEST(Files, DamagedMembersOfAnArchiveAreNoticed) {
    const support::TemporaryFolder folder;
    std::string text = "<a>";
    for (int i = 0; i < 20'000; ++i)
        text += std::to_string(i * i);
    folder.write("in/a.xml", text += "</a>");
    folder.write("in/b c.xml", text + " ");
    for (const char* method : {"-0", "-6"}) { // stored and packed
        const std::string archive = folder / "p.zip";
        std::filesystem::remove(archive);
        ASSERT_EQ(std::system(("cd '" + folder.path().string() + "' && zip -q " + method +
                               " -r p.zip in").c_str()), 0);
        const std::string member = "/vsizip/" + archive + "/in/a.xml";
        const std::string inBraces = "/vsizip/{" + archive + "}/in/b c.xml";
        std::string reason;
        EXPECT_TRUE(kfio::readDocument(member, reason) == text) << reason;
        EXPECT_TRUE(kfio::readDocument(inBraces, reason) == text + " ") << reason;
        EXPECT_EQ(kfio::faultInArchive(member), "");
        std::fstream file(archive, std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(10'000);
        const int byte = file.peek();
        file.seekp(10'000);
        file.put(static_cast<char>(byte ^ 4));
        file.close();
        VSICurlClearCache();
        const std::string damaged = folder / "q.zip"; // GDAL remembers archives by name
        std::filesystem::rename(archive, damaged);
        int faults = 0;
        for (const char* name : {"/in/a.xml", "/in/b c.xml"}) {
            const auto read = kfio::readDocument("/vsizip/" + damaged + name, reason);
            faults += !read;
            EXPECT_EQ(read.has_value(),
                      kfio::faultInArchive("/vsizip/" + damaged + name).empty());
        }
        EXPECT_EQ(faults, 1) << method;
        EXPECT_THAT(reason, testing::Not(testing::HasSubstr(".cpp")));
        std::filesystem::remove(damaged);
    }
}

TEST(Documents, DepthAndSizeAreBounded) {
    EXPECT_EQ(tolvan::jsonlib::depthOf(R"({"a":["[{\"[","x"],"b":{}})"), 2U);
    EXPECT_EQ(tolvan::jsonlib::depthOf("]]]["), 1U);

    const auto repeated = [](const char* text, std::size_t count) {
        std::string all;
        for (std::size_t i = 0; i < count; ++i)
            all += text;
        return all;
    };
    const auto nested = [&](std::size_t levels) {
        return repeated("<a b='>'><!--></a>-->", levels) + repeated("</a>", levels);
    };
    const std::size_t deepest = kfio::maximumDocumentDepth, most = kfio::maximumDocumentItems;
    struct Case {
        std::string text;
        const char* complaint; ///< null when the document is read
    };
    const Case cases[] = {
        {nested(deepest), nullptr},
        {nested(deepest + 1), "nests deeper than 200 levels"},
        {nested(100'000), "nests deeper"},
        {"<a>" + repeated("<b/>", most - 1) + "</a>", nullptr},
        {"<a>" + repeated("<b/>", most) + "</a>", "holds more than 1000000 elements"},
        {"<a>" + repeated("<b c=''/>", most / 2) + "</a>", "holds more"},
        {"<!DOCTYPE a [<!ENTITY b 'bb'>]><a>&b;</a>", "declares entities"},
        {"<!DOCTYPE a [<!ENTITY b SYSTEM 'c'>]><a/>", "declares entities"},
    };
    const support::TemporaryFolder folder;
    for (const Case& c : cases) {
        const std::string name = folder.write("a.xml", c.text);
        try {
            kfio::readXmlTree(name, "b");
            EXPECT_EQ(c.complaint, nullptr) << c.text.substr(0, 60);
        } catch (const std::exception& error) {
            ASSERT_NE(c.complaint, nullptr) << error.what();
            EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr(name),
                                                     testing::HasSubstr(c.complaint)));
        }
    }
}

TEST(Documents, XmlTreesAreThoseOfTheGenericParser) {
    namespace pt = boost::property_tree;
    const support::TemporaryFolder folder;
    for (const char* text :
         {"<a/>", "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- before --><!DOCTYPE a>\n<a b='1' "
                  "c=\"&lt;2\">\n x <b/> y &amp; &#233; <!-- note --><d>  1  2\n</d><d/><x:d "
                  "xmlns:x='u'/><![CDATA[<raw>]]></a>\n<!-- after -->"}) {
        std::istringstream stream(text);
        pt::ptree expected;
        pt::read_xml(stream, expected);
        EXPECT_EQ(kfio::readXmlTree(folder.write("a.xml", text)), expected) << text;
    }
    const std::string name = folder.write("a.xml", "");
    for (const auto& [text, line] :
         {std::pair{"<a", 1U}, {"<a>\n\n</b>", 3U}, {"<a>\n<b>&#x110000;</b></a>", 2U}, {"", 1U},
          {"text", 1U}, {"<a></a>\n<b></b>", 2U}, {"<a>\n\xE9</a>", 2U}}) {
        folder.write("a.xml", text);
        try {
            kfio::readXmlTree(name);
            ADD_FAILURE() << text;
        } catch (const pt::xml_parser_error& error) {
            EXPECT_EQ(error.line(), line) << text;
            EXPECT_EQ(error.filename(), name);
        }
    }
}

TEST(Documents, XmlIsReadInTheEncodingThatItDeclares) {
    const support::TemporaryFolder folder;
    const auto read = [&](const std::string& text) {
        return kfio::readXmlTree(folder.write("a.xml", text)).get<std::string>("a");
    };
    const std::string end = "'?><a>";
    EXPECT_EQ(read("<?xml version='1.0' encoding='ISO-8859-1" + end + "\xE9</a>"), "é");
    EXPECT_EQ(read("<?xml version='1.0' encoding='windows-1252" + end + "\x80</a>"), "€");
    EXPECT_EQ(read("<?xml version='1.0' encoding='Shift_JIS" + end + "\x83\x41</a>"), "ア");
    for (const char* foreign : {"IBM037", "no-such-encoding"}) // without ASCII, and unknown
        EXPECT_THROW(read("<?xml version='1.0' encoding='" + std::string(foreign) + end + "</a>"),
                     boost::property_tree::xml_parser_error);
}
