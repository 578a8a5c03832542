// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kstr/host_list.h"
#include "kerr/kerr.h"
#include "kfnp/kfnp.h"
#include "ktxt/ktxt.h"
#include "rcm_metadata.h"
#include "rf_sar_file.h"
#include "support/small_products.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using support::TemporaryFolder;
using support::XmlProduct;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int32_t none = -1;

std::int32_t identify(const std::string& name) {
    return static_cast<std::int32_t>(rf_sarFileTitleIdentify(ktxt::widen(name).c_str()));
}

struct Closer {
    void operator()(RF_SARFile* file) const { rf_sarFileClose(file); }
};
using FilePtr = std::unique_ptr<RF_SARFile, Closer>;

FilePtr open(const std::string& name, const char16_t* mode = u"rb") {
    return FilePtr(rf_sarFileOpen(ktxt::widen(name).c_str(), mode));
}

std::vector<std::string> texts(char16_t** list, std::uint32_t count) {
    std::vector<std::string> all;
    for (std::uint32_t i = 0; i < count; ++i) {
        all.push_back(ktxt::narrow(list[i]));
        kmsc_HeapFree(list[i]);
    }
    kmsc_HeapFree(list);
    return all;
}

template <class Get>
std::vector<std::string> namesOf(RF_SARFile* file, Get get) {
    std::uint32_t count = 0;
    char16_t** list = nullptr;
    EXPECT_EQ(get(file, &count, &list), 0U);
    return texts(list, count);
}

/// What identification logs; printing anything fails the test.
std::string reasonOf(const std::string& name) {
    std::string heard;
    const TolvanLog::Listener listener(
        [&](const KERR_REPORT& report) { heard += kerr_Text(&report) + "\n"; });
    const auto old = kerr::setPrintSink(
        [](const KERR_REPORT& report) { ADD_FAILURE() << "printed: " << kerr_Text(&report); });
    EXPECT_EQ(identify(name), none);
    kerr::setPrintSink(old);
    return heard;
}

std::string image(const imageMetadata& reader, std::size_t i) {
    return kfnp::clean(ktxt::narrow(reader.referencedFiles.at(i)));
}

} // namespace

TEST(Instance, ListsFiveFormatsInTheTablesOrder) {
    std::uint32_t count = 0;
    char16_t** list = nullptr;
    std::uint8_t* flags = nullptr;
    EXPECT_EQ(rf_sarInstanceTitleListGet(&count, &list), 0U);
    EXPECT_THAT(texts(list, count),
                ElementsAre("Capella GEO", "Capella SLC", "Radarsat Constellation Mission",
                            "RADARSAT-2", "Capella GRD"));
    rf_sarInstanceMagicListGet(&list);
    EXPECT_THAT(texts(list, 5), ElementsAre("", "", "0\tstring\t\\<?xml", "0\tstring\t\\<?xml", ""));
    rf_sarInstanceTemplateListGet(&list, &flags);
    EXPECT_THAT(texts(list, 5), ElementsAre("CAPELLA*GEO*.json", "CAPELLA*SLC*.json",
                                            "product*.xml", "product*.xml", "CAPELLA*GRD*.json"));
    EXPECT_THAT(std::vector<int>(flags, flags + 5), ElementsAre(0, 0, 0, 0, 0));
    kmsc_HeapFree(flags);
    rf_sarInstancePixelTypesGet(&count, &list);
    const auto types = texts(list, count);
    ASSERT_EQ(types.size(), 13U);
    EXPECT_EQ(types[5] + types[6], "u16s16");
    EXPECT_EQ(rf_sarInstanceIsThreadsafe(), 1U);
    EXPECT_EQ(rf_sarInstanceSupportsUnicode(), 1U);

    // Short of memory, a list ends where the copies end, and nothing leaks.
    const auto blocks = kmsc_BlocksInUse();
    kmsc_FailAllocation(4);
    EXPECT_EQ(rf_sarInstanceTitleListGet(&count, &list), 0U);
    EXPECT_EQ(texts(list, count).size(), 2U);
    kmsc_FailAllocation(1);
    EXPECT_EQ(rf_sarInstanceTitleListGet(&count, &list), 0U);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(kmsc_BlocksInUse(), blocks);
}

TEST(FileOpen, ModesAndHandles) {
    const TemporaryFolder folder;
    const auto product = folder.write("product.XML", support::xmlText({}));
    EXPECT_EQ(identify(product), 3);
    EXPECT_TRUE(open(product, u"r"));
    EXPECT_EQ(open(product, nullptr), nullptr); // identify only
    for (const char16_t* creating : {u"a", u"ab", u"w+", u"wb+", u"w+b"})
        EXPECT_EQ(open(product, creating), nullptr);
    std::uint32_t index = 77;
    EXPECT_EQ(rf_sarFileTitleIdentifyAndOpen(ktxt::widen(product).c_str(), &index, nullptr),
              nullptr);
    EXPECT_EQ(index, 3U);

    std::int64_t time = 77;
    const FilePtr file = open(product);
    EXPECT_EQ(rf_sarFileDataModTimeGet(file.get(), nullptr, &time), 0U);
    EXPECT_EQ(time, 0);
    EXPECT_EQ(rf_sarFileDataModTimeGet(nullptr, nullptr, &time), RF_SAR_FAILURE);
    EXPECT_EQ(rf_sarFileClose(nullptr), 0U);
}

TEST(FileOpen, RelativeNamesSurviveAChangeOfFolder) {
    const TemporaryFolder folder;
    folder.write("product.xml", support::xmlText({}));
    const auto before = fs::current_path();
    fs::current_path(folder.path());
    const FilePtr file = open("product.xml");
    fs::current_path(before);
    ASSERT_TRUE(file);
    EXPECT_EQ(image(*file->reader, 0), (folder.path() / "imagery_HH.tif").string());
}

TEST(RcmDiscovery, TypesAndSatellites) {
    struct Case {
        const char* satellite;
        const char* type;
        std::int32_t format;
        std::int32_t typeIndex;
        bool isComplex;
    };
    const Case cases[] = {
        {"RADARSAT-2", "SLC", 3, 0, true},  {"radarsat-2", "sgf", 3, 1, false},
        {"RADARSAT-2", "SGX", 3, 2, false}, {"RADARSAT-2", "SGC", 3, 3, false},
        {"RADARSAT-2", "SSG", 3, 4, false}, {"RADARSAT-2", "SPG", 3, 5, false},
        {"RADARSAT-2", "GRD", 3, -1, false}, {"RCM-1", "slc", 2, 6, true},
        {"Rcm-2", "GRD", 2, 7, false},      {"RCM-3", "GRC", 2, 8, false},
        {"RCM-1", "SCD", 2, 9, false},      {"RCM-1", "GCC", 2, 10, false},
        {"RCM-1", "GCD", 2, -1, false},     {"RCM-1", "SGF", 2, -1, false},
    };
    const TemporaryFolder folder;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.satellite) + " " + c.type);
        const auto name = folder.write("product.xml", support::xmlText({c.satellite, c.type}));
        EXPECT_EQ(identify(name), c.format);
        const FilePtr file = open(name);
        ASSERT_TRUE(file);
        const auto& reader = static_cast<rcmImageMetadata&>(*file->reader);
        EXPECT_EQ(reader.productTypeIndex, c.typeIndex);
        EXPECT_EQ(reader.isComplex, c.isComplex);
        EXPECT_EQ(reader.complexInOneBand, 0);
        EXPECT_EQ(reader.magnitudeScale, 1.0);
        EXPECT_EQ(reader.satellite, c.satellite);
    }
    for (const char* other : {"RCM-4", "RCM", "SENTINEL-1A"})
        EXPECT_THAT(reasonOf(folder.write("product.xml", support::xmlText({other, "GRD"}))),
                    HasSubstr(std::string("satellite \"") + other + "\" is not supported"));
}

TEST(RcmDiscovery, ImagesBelowTheFolderAboveInDocumentOrder) {
    const TemporaryFolder folder;
    XmlProduct product{"RCM-2", "SLC", "HH HV", {"../imagery/b é.tif", "../imagery/a.tif"}};
    product.newline = "\r\n";
    const FilePtr file = open(folder.write("P/metadata/product.xml", support::xmlText(product)));
    ASSERT_TRUE(file);
    const auto& reader = *file->reader;
    ASSERT_EQ(reader.referencedFiles.size(), 2U);
    EXPECT_EQ(reader.referencedFiles[0],
              ktxt::widen((folder.path() / "P/metadata//../imagery/b é.tif").string()));
    EXPECT_THAT(namesOf(file.get(), rf_sarFileLayerNamesGet),
                ElementsAre("C_HH_MAGNITUDE_1", "C_HH_PHASE_2", "C_HV_MAGNITUDE_3",
                            "C_HV_PHASE_4"));
}

TEST(RcmDiscovery, CountsOfImagesAndPolarizationsMustAgree) {
    const TemporaryFolder folder;
    const auto reason = [&](XmlProduct product) {
        return reasonOf(folder.write("product.xml", support::xmlText(product)));
    };
    XmlProduct product;
    product.polarizations = "HH  HV"; // two blanks: three entries
    EXPECT_THAT(reason(product), HasSubstr("2 image files but 3 polarizations"));
    product.polarizations = "HH";
    EXPECT_THAT(reason(product), HasSubstr("2 image files but 1 polarizations"));
    product = {};
    product.images = {};
    product.polarizations = "";
    EXPECT_NE(reason(product), "no reason told");
}

TEST(Discovery, RefusesNamesThatLeaveTheProduct) {
    const TemporaryFolder folder;
    for (const char* name : {"../../etc/passwd", "/etc/passwd", "a/../../../x.tif",
                             "..\\..\\x.tif", "C:\\x.tif", "/vsicurl/http://host/x.tif",
                             "http://host/x.tif", ""}) {
        XmlProduct product{"RCM-1", "GRD", "HH", {name}};
        EXPECT_THAT(reasonOf(folder.write("P/metadata/product.xml", support::xmlText(product))),
                    HasSubstr("is refused"))
            << name;
    }
    for (const char* href : {"/etc/passwd", "../../x.tif"}) {
        const auto item = support::capellaItem("\"SLC\"", "[\"VV\"]", "VV", href);
        EXPECT_THAT(reasonOf(folder.write("C/item.json", item)), HasSubstr("is refused")) << href;
    }
}

TEST(CapellaDiscovery, ProductTypesAndPolarizations) {
    const TemporaryFolder folder;
    folder.write("CAPELLA_1.tif", "");
    struct Case {
        const char* type;
        std::int32_t format;
        bool isComplex;
    };
    for (const Case& c : {Case{"SLC", 1, true}, Case{"slc", 1, true}, Case{"grd", 4, false},
                          Case{"GEO", 0, false}, Case{"GEC", 0, false}, Case{"SLCX", 0, false}}) {
        const auto name = folder.write(
            "CAPELLA_1.Json", support::capellaItem('"' + std::string(c.type) + '"', "[\"VV\"]",
                                                   "VV", "no such file.tif"));
        EXPECT_EQ(identify(name), c.format) << c.type;
        const FilePtr file = open(name);
        ASSERT_TRUE(file);
        EXPECT_EQ(file->reader->isComplex, c.isComplex);
        EXPECT_EQ(file->reader->complexInOneBand, 1);
        EXPECT_EQ(image(*file->reader, 0), (folder.path() / "CAPELLA_1.tif").string());
    }
    // A text instead of an array lists nothing; the image is still found by the item's name.
    const auto text = folder.write("CAPELLA_1.json",
                                   support::capellaItem("\"GEO\"", "\"VV\"", "VV", "CAPELLA_1.tif"));
    EXPECT_EQ(identify(text), 0);
    EXPECT_TRUE(namesOf(open(text).get(), rf_sarFileLayerNamesGet).empty());
}

TEST(CapellaDiscovery, SeveralPolarizationsTakeTheLastImage) {
    const TemporaryFolder folder;
    folder.write("item.tif", "");
    folder.write("vh.tif", "");
    const FilePtr file = open(folder.write(
        "item.json", support::capellaItem("\"SLC\"", "[\"VV\",\"VH\"]", "VH", "vh.tif")));
    ASSERT_TRUE(file);
    EXPECT_EQ(image(*file->reader, 0), (folder.path() / "vh.tif").string());
    EXPECT_EQ(file->reader->referencedFiles.size(), 1U);
    EXPECT_THAT(namesOf(file.get(), rf_sarFileLayerNamesGet),
                ElementsAre("X_VV_MAGNITUDE_1", "X_VV_PHASE_2", "X_VH_MAGNITUDE_3",
                            "X_VH_PHASE_4"));
    EXPECT_THAT(namesOf(file.get(), rf_sarFileRasterFormatsNonStandardDataNamesGet),
                ElementsAre(":SAR_Metadata"));
}

TEST(CapellaDiscovery, HrefAsUrlFindsTheFileBesideIt) {
    const TemporaryFolder folder;
    folder.write("other.tif", "");
    const FilePtr file = open(folder.write(
        "item.json", support::capellaItem("\"SLC\"", "[\"VV\"]", "VV",
                                          "https://host/bucket/other.tif?signed=a/b")));
    ASSERT_TRUE(file);
    EXPECT_EQ(image(*file->reader, 0), (folder.path() / "other.tif").string());
}

TEST(CapellaDiscovery, ExtendedFileLeadsToTheItem) {
    const TemporaryFolder folder;
    folder.write("my_extended/CAPELLA_2.tif", "");
    const auto extended = folder.write("my_extended/CAPELLA_2_extended.json",
                                       support::capellaExtended("SLC"));
    // Without an item the extended file serves alone.
    const FilePtr alone = open(extended);
    ASSERT_TRUE(alone);
    EXPECT_EQ(namesOf(alone.get(), rf_sarFileLayerNamesGet).front(), "X_VH_MAGNITUDE_1");
    EXPECT_EQ(ktxt::narrow(alone->reader->fileName),
              (folder.path() / "my_extended/CAPELLA_2.json").string());
    // With one, the item is read.
    folder.write("my_extended/CAPELLA_2.json",
                 support::capellaItem("\"GRD\"", "[\"HH\"]", "HH", "CAPELLA_2.tif"));
    EXPECT_EQ(identify(extended), 4);
    // An item that is none is an error, not a reason to fall back.
    folder.write("my_extended/CAPELLA_2.json", "{}");
    EXPECT_THAT(reasonOf(extended), HasSubstr("Failed to find parse JSON data"));
}

TEST(CapellaDiscovery, ExtendedMetadataServeForADamagedItem) {
    const TemporaryFolder folder;
    folder.write("CAPELLA_2.tif", "");
    const auto item = folder.write("CAPELLA_2.json", "{\"properties\": {");
    EXPECT_THAT(reasonOf(item), HasSubstr("Failed to find parse JSON data"));
    const auto extended =
        folder.write("CAPELLA_2_extended.json", support::capellaExtended("SLC"));
    for (const auto& name : {item, extended}) {
        std::string told;
        const TolvanLog::Listener listener(
            [&](const KERR_REPORT& report) { told += kerr_Text(&report); });
        const FilePtr file = open(name);
        ASSERT_TRUE(file) << name;
        EXPECT_EQ(file->formatIndex, 1U);
        EXPECT_EQ(namesOf(file.get(), rf_sarFileLayerNamesGet).front(), "X_VH_MAGNITUDE_1");
        EXPECT_THAT(told, testing::AllOf(HasSubstr(item + " is damaged"), HasSubstr(extended)));
    }
    folder.write("CAPELLA_2_extended.json", "{");
    EXPECT_THAT(reasonOf(item), HasSubstr("Failed to find parse JSON data"));
}

TEST(FileIdentify, TellsWhyAFileIsNoProductAndPrintsNothing) {
    const TemporaryFolder folder;
    const auto xml = [&](std::string_view text) { return reasonOf(folder.write("p.xml", text)); };
    const auto json = [&](std::string_view text) { return reasonOf(folder.write("p.json", text)); };
    EXPECT_THAT(reasonOf(folder.write("image.tif", "II*")), HasSubstr("Failed to allocate memory"));
    EXPECT_THAT(reasonOf("/no/such/product.xml"), HasSubstr("does not exist"));
    EXPECT_THAT(reasonOf("/no/such/item.json"), HasSubstr("Could not fine and open the file"));
    EXPECT_THAT(reasonOf(folder.path().string() + "/sub.xml/../"), HasSubstr("Failed"));
    EXPECT_THAT(xml(""), HasSubstr("p.xml(1): no element found"));
    EXPECT_THAT(xml("not xml"), HasSubstr("p.xml"));
    EXPECT_THAT(xml("<product><a></product>"), HasSubstr("p.xml"));
    EXPECT_THAT(xml("<other/>"), HasSubstr("product"));
    EXPECT_THAT(xml("<product><sourceAttributes/></product>"), HasSubstr("satellite"));
    const auto whole = support::xmlText({});
    EXPECT_NE(xml(std::string_view(whole).substr(0, whole.size() / 2)), "");
    EXPECT_THAT(json(""), HasSubstr("Failed to find parse JSON data"));
    EXPECT_THAT(json("{\"a\":"), HasSubstr("Failed to find parse JSON data"));
    EXPECT_THAT(json("{}"), HasSubstr("Failed to find parse JSON data"));
    EXPECT_THAT(reasonOf(folder.write("q_extended_extended.json", "{}")),
                HasSubstr("Could not find appropriate json metatdata file"));
    EXPECT_THAT(json("{\"properties\":{}}"), HasSubstr("No sar:product_type in JSON file"));
    EXPECT_THAT(json("{\"properties\":{\"sar:product_type\":\"SLC\"}}"),
                HasSubstr("No sar:productpolarizations in JSON file"));
    EXPECT_THAT(json(support::capellaItem("\"SLC\"", "[\"VV\"]", "VV", "x.tif")),
                HasSubstr("Could not find appropriate tif file"));
    EXPECT_THAT(json(support::capellaItem("\"SLC\"", "[\"VV\"]", "VV", "")),
                HasSubstr("no assets"));
    EXPECT_THAT(json(support::capellaItem("7", "[\"VV\"]", "VV", "")), HasSubstr("not text"));

    // Parsers that recurse are never fed that many levels.
    std::string deep;
    for (int i = 0; i < 900'000; ++i)
        deep += "<a>";
    EXPECT_THAT(xml("<product>" + deep), HasSubstr("nests deeper"));
    EXPECT_NE(json(std::string(1'000'000, '[')), "");
    EXPECT_NE(json("{\"a\":" + std::string(1'000'000, '{')), "");

    // Far too large to be metadata: refused by its size, without reading it.
    const auto huge = folder.write("huge.xml", "<product/>");
    fs::resize_file(huge, std::uintmax_t{1} << 40);
    EXPECT_THAT(reasonOf(huge), HasSubstr("larger than"));
    // A fifo in the product's place must not hang the reader.
    const auto fifo = (folder.path() / "fifo.xml").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_THAT(reasonOf(fifo), HasSubstr("is not a file"));
}

TEST(FileIdentify, NamesThatAreNotUtfOrNullAreNoProducts) {
    const std::u16string broken = {u'/', char16_t(0xD800), u'.', u'x', u'm', u'l'};
    EXPECT_EQ(rf_sarFileTitleIdentify(broken.c_str()), RF_SAR_FAILURE);
    EXPECT_EQ(rf_sarFileTitleIdentify(u""), RF_SAR_FAILURE);
    EXPECT_EQ(rf_sarFileTitleIdentify(nullptr), RF_SAR_FAILURE);
}

namespace {

std::size_t residentBytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t total = 0, resident = 0;
    statm >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

TEST(FileIdentify, ManyWrongFilesTakeNoMemory) {
    const TemporaryFolder folder;
    const auto padding = "<!--" + std::string(100'000, 'x') + "-->";
    const auto product = folder.write("product.xml", support::xmlText({}) + padding);
    const auto broken = folder.write("broken.xml", "<product><a>" + padding);
    const auto item = folder.write("item.json", "{\"properties\":{\"a\":\"" +
                                                    std::string(100'000, 'x') + "\"}}");
    const auto round = [&] {
        EXPECT_EQ(identify(product), 3);
        EXPECT_EQ(identify(broken), none);
        EXPECT_EQ(identify(item), none);
    };
    for (int i = 0; i < 50; ++i)
        round();
    const auto blocks = kmsc_BlocksInUse();
    [[maybe_unused]] const auto before = residentBytes();
    for (int i = 0; i < 400; ++i)
        round();
    EXPECT_EQ(kmsc_BlocksInUse(), blocks);
#ifndef __SANITIZE_ADDRESS__ // its quarantine keeps freed memory
    EXPECT_LT(residentBytes(), before + (4U << 20)); // one leaked document a round would be 80 MB
#endif
}

// One short allocation anywhere gives the failure of the entry point, never a crash or a leak.
TEST(FileOpen, SurvivesAnyFailedAllocation) {
    const TemporaryFolder folder;
    const auto name = folder.write("product.xml", support::xmlText({}));
    const auto blocks = kmsc_BlocksInUse();
    for (std::uint64_t n = 1; n < 30; ++n) {
        kmsc_FailAllocation(n);
        const FilePtr file = open(name);
        std::uint32_t count = 0;
        char16_t** list = nullptr;
        if (file && rf_sarFileLayerNamesGet(file.get(), &count, &list) == 0)
            texts(list, count);
        if (file &&
            rf_sarFileRasterFormatsNonStandardDataNamesGet(file.get(), &count, &list) == 0)
            texts(list, count);
        kmsc_FailAllocation(0);
    }
    EXPECT_EQ(kmsc_BlocksInUse(), blocks);
}

TEST(NodeNames, FollowTheProductType) {
    const TemporaryFolder folder;
    const auto nodes = [&](const char* satellite, const char* type) {
        const FilePtr file =
            open(folder.write("product.xml", support::xmlText({satellite, type})));
        return namesOf(file.get(), rf_sarFileRasterFormatsNonStandardDataNamesGet);
    };
    const auto all = ElementsAre(":SAR_Metadata", ":Rs2_Calibration", ":Doppler");
    EXPECT_THAT(nodes("RADARSAT-2", "SLC"), all);
    EXPECT_THAT(nodes("RADARSAT-2", "SPG"), all);
    EXPECT_THAT(nodes("RCM-1", "GRD"), ElementsAre(":SAR_Metadata"));
    EXPECT_THAT(nodes("RCM-1", "GCD"), all); // an unmapped type counts as below RCM's
}

TEST(ImageMetadata, BaseKeepsItsDefaults) {
    struct Bare final : imageMetadata {
    } bare;
    bare.referencedFiles = {u"a.tif"};
    std::uint32_t index = 9;
    EXPECT_EQ(bare.getReferencedFiles(&index, nullptr).size(), 1U);
    EXPECT_EQ(bare.getNonStandardDataNamesGet(&index, nullptr), RF_SAR_FAILURE);
    EXPECT_EQ(bare.readSARnode(), nullptr);
    EXPECT_EQ(bare.getDopplerRates(), nullptr);
}
