// SPDX-License-Identifier: MIT
#include "capella_readnodes.h"

#include "image_metadata.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "sarm/model_area.h"
#include "sarm/sarm.h"
#include "support/metadata_trees.h"
#include "support/record_fields.h"
#include "support/temporary_folder.h"

#include <boost/property_tree/json_parser.hpp>
#include <gmock/gmock.h>

#include <set>
#include <sstream>

namespace {

using support::ProductTree;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string geometry = "collect.image.image_geometry.";

struct CapellaReadnodes : testing::Test {
    support::TemporaryFolder folder;
    ProductTree tree;

    CapellaReadnodes() {
        boost::property_tree::read_json(RF_SAR_TEST_DATA "/capella_extended.json", tree);
    }

    std::string write(const std::string& name, const ProductTree& document) const {
        std::ostringstream text;
        boost::property_tree::write_json(text, document);
        return folder.write(name, text.str());
    }

    /// Builds from the extended file alone; the item need not be there.
    sarm::MetadataPtr read(std::int32_t format = formatCapellaSlc) const {
        write("P_extended.json", tree);
        return readItem(format);
    }
    sarm::MetadataPtr readItem(std::int32_t format = formatCapellaSlc) const {
        kerr::Slot slot;
        const auto item = ktxt::widen((folder.path() / "P.json").string());
        sarm::MetadataPtr record(capella_sarNodeRead(item, format, slot));
        EXPECT_EQ(record == nullptr, static_cast<bool>(slot));
        return record;
    }
};

} // namespace

TEST_F(CapellaReadnodes, FillsEveryField) {
    const auto record = read();
    ASSERT_TRUE(record);
    support::expectFields({RECORD_FIELD(recordVersion, 0),
                           RECORD_FIELD(passDirection, 2),
                           RECORD_FIELD(productGeometry, 3),
                           RECORD_FIELD(beamModeClass, 1),
                           RECORD_FIELD(rangeGeometry, 2),
                           RECORD_FIELD(firstLineYear, 2024),
                           RECORD_FIELD(firstLineMonth, 3),
                           RECORD_FIELD(firstLineDay, 1),
                           RECORD_FIELD(firstLineDayOfYear, 61),
                           RECORD_FIELD(stateVectorFirstTime, 37225.5),
                           RECORD_FIELD(stateVectorInterval, 2.25),
                           RECORD_FIELD(semiMajorAxis, 6378137),
                           RECORD_FIELD(semiMinorAxis, 6378137 * (1 - 1 / 298.257223563)),
                           RECORD_FIELD(lookDirection, 90),
                           RECORD_FIELD(incidenceAngleCentre, 33.25),
                           RECORD_FIELD(wavelength, 0.1),
                           RECORD_FIELD(adcSamplingRate, 7.5e8),
                           RECORD_FIELD(totalProcessedRangeBandwidth, 2e8),
                           RECORD_FIELD(totalProcessedAzimuthBandwidth, 4000),
                           RECORD_FIELD(sampledPixelSpacing, 0.5),
                           RECORD_FIELD(sampledLineSpacing, 1.5),
                           RECORD_FIELD(slantRangeNearEdge, 650000),
                           RECORD_FIELD(pixelTimeOrdering, 0),
                           RECORD_FIELD(lineTimeOrdering, 0),
                           RECORD_FIELD(numberOfStateVectors, 2),
                           RECORD_FIELD(ephemerisStatus, 0),
                           RECORD_FIELD(imageWindowValid, 1),
                           RECORD_FIELD(firstSample, 0),
                           RECORD_FIELD(lastSample, 1999),
                           RECORD_FIELD(sampleStep, 1),
                           RECORD_FIELD(sampleCount, 2000),
                           RECORD_FIELD(firstLine, 0),
                           RECORD_FIELD(lastLine, 999),
                           RECORD_FIELD(lineStep, 1),
                           RECORD_FIELD(lineCount, 1000)});
    EXPECT_STREQ(record->sensorCode, "F");
    EXPECT_EQ(record->firstLineTime, 37230.123456789);
    EXPECT_DOUBLE_EQ(record->lastLineTime, 37232.123456789);
    EXPECT_NEAR(record->imageDuration, 2, 1e-11);
    const double* x = record->stateVectorXPosition.values;
    const double* vz = record->stateVectorZVelocity.values;
    EXPECT_THAT((std::array{x[0], x[1], vz[0], vz[1]}), ElementsAre(1, 7, 6, 12));
    EXPECT_EQ(record->stateVectorYVelocity.count, 2);
}

TEST_F(CapellaReadnodes, OneElementDecidesOneField) {
    struct Case {
        std::string path, value;
        double (*field)(const SarMetadataRecord&);
        double expected;
    };
    const auto mode = [](const SarMetadataRecord& r) { return double(r.beamModeClass); };
    const auto pass = [](const SarMetadataRecord& r) { return double(r.passDirection); };
    const auto look = [](const SarMetadataRecord& r) { return r.lookDirection; };
    const Case cases[] = {
        {"collect.mode", "Sliding_Spotlight", mode, 3},
        {"collect.mode", "spotlight", mode, 2},
        {"collect.mode", "spotlights", mode, 0},
        {"collect.state.direction", "Ascending", pass, 1},
        {"collect.state.direction", "null", pass, 0},
        {"collect.radar.pointing", "LEFT", look, -90},
        {"collect.radar.pointing", "", look, -90},
        {geometry + "first_line_time", "2024-12-31T00:00:00.000000001Z",
         [](const SarMetadataRecord& r) { return r.firstLineDayOfYear + r.firstLineTime; },
         366.000000001},
    };
    const ProductTree whole = tree;
    for (const Case& c : cases) {
        tree = whole;
        tree.put(c.path, c.value);
        const auto record = read();
        ASSERT_TRUE(record) << c.path;
        EXPECT_EQ(c.field(*record), c.expected) << c.path << " " << c.value;
    }
}

TEST_F(CapellaReadnodes, TheModelGetsTheTrueOffsetOfTheFirstVector) {
    const auto offset = [this] { return sarm::readModelArea(*read()).firstVectorMinusStartS; };
    EXPECT_NEAR(offset(), -4.623456789, 1e-6);
    tree.put(geometry + "delta_line_time", -0.002); // the last line is the earliest
    EXPECT_NEAR(offset(), -2.623456789, 1e-6);
    tree.put(geometry + "first_line_time", "2024-03-02T00:00:00Z"); // the next day
    EXPECT_NEAR(offset(), 37225.5 - 86398, 1e-6);
}

TEST_F(CapellaReadnodes, NegativeStepSwapsTheLineTimes) {
    tree.put(geometry + "delta_line_time", -0.002);
    const auto record = read();
    EXPECT_DOUBLE_EQ(record->firstLineTime, 37228.123456789);
    EXPECT_EQ(record->lastLineTime, 37230.123456789);
    EXPECT_EQ(record->lineTimeOrdering, 1);
}

TEST_F(CapellaReadnodes, OnlyGroundRangeProductsTakeTheGroundSpacing) {
    tree.put(geometry + "delta_range_sample", 0.5);
    EXPECT_EQ(read(formatCapellaGeo)->sampledPixelSpacing, 0.5);
    EXPECT_EQ(read(formatCapellaSlc)->sampledPixelSpacing, 0.5);
    EXPECT_EQ(read(formatCapellaGrd)->sampledPixelSpacing, 0.75);
}

TEST_F(CapellaReadnodes, MissingStepsCountAsDecreasing) {
    support::erase(tree, geometry + "delta_line_time");
    support::erase(tree, geometry + "delta_range_sample");
    support::erase(tree, geometry + "first_line_time"); // the start of the collect serves
    const auto record = read(formatCapellaGrd);
    EXPECT_THAT((std::array{record->pixelTimeOrdering, record->lineTimeOrdering}),
                ElementsAre(1, 1));
    EXPECT_THAT(
        (std::array{record->sampledPixelSpacing, record->firstLineTime, record->lastLineTime}),
        ElementsAre(0.75, 37229.5, 37229.5));
}

TEST_F(CapellaReadnodes, RangePolynomialIsReversedAndCapped) {
    struct Case {
        std::int32_t format;
        const char* coefficients;
        std::array<double, 6> expected;
    };
    const Case cases[] = {{formatCapellaGrd, "3 2 1", {650000, 2, 3, 0, 0, 0}},
                          {formatCapellaGrd, "8 7 6 5 4 3 2 1", {650000, 2, 3, 4, 5, 6}},
                          {formatCapellaGrd, "", {650000, 0, 0, 0, 0, 0}},
                          {formatCapellaSlc, "3 2 1", {}},
                          {formatCapellaGeo, "3 2 1", {}}};
    for (const Case& c : cases) {
        ProductTree list;
        std::istringstream numbers(c.coefficients);
        for (std::string number; numbers >> number;)
            list.push_back({"", ProductTree(number)});
        tree.put_child(geometry + "gr_to_sr_poly_coeffs", list);
        const auto record = read(c.format);
        ASSERT_TRUE(record);
        EXPECT_THAT(record->groundToSlantRangeCoefficients, testing::ElementsAreArray(c.expected))
            << c.coefficients;
        EXPECT_EQ(record->rangeGeometry, c.format == formatCapellaSlc ? 2 : 1);
        EXPECT_EQ(record->pixelTimeOrdering, 0); // nothing ran over into the next field
    }
}

TEST_F(CapellaReadnodes, LastPulseRepetitionFrequencyWins) {
    EXPECT_EQ(read()->pulseRepetitionFrequency, 6000);
    tree.put_child("collect.radar.prf", ProductTree());
    EXPECT_EQ(read()->pulseRepetitionFrequency, 0);
}

TEST_F(CapellaReadnodes, FindsTheExtendedFileByHrefOrBesideTheItem) {
    tree.put("collect.image.rows", 7);
    write("other.json", tree);
    write("meta/nested.json", tree);
    tree.put("collect.image.rows", 8);
    write("P_extended.json", tree);
    for (const auto& [href, rows] : {std::pair<const char*, int>{"other.json", 7},
                                     {"meta/nested.json", 7},
                                     {"https://store.example/a/b/other.json?sig=1", 7},
                                     {"missing.json", 8},
                                     {"", 8}}) {
        ProductTree item;
        item.put("assets.metadata.href", href);
        write("P.json", item);
        const auto record = readItem();
        ASSERT_TRUE(record) << href;
        EXPECT_EQ(record->numberOfLines, rows) << href;
    }
    for (const auto& [itemText, reason] :
         {std::pair<const char*, const char*>{R"({"assets":{}})",
                                              "P.json: No such node (assets.metadata.href)"},
          {R"({"assets":{"metadata":{"href":"/etc/other.json"}}})", "is absolute"},
          {R"({"assets":{"metadata":{"href":"../../other.json"}}})", "leaves the product"}}) {
        const support::Log log;
        folder.write("P.json", itemText);
        EXPECT_FALSE(readItem());
        EXPECT_THAT(log.text(), HasSubstr(reason));
    }
    folder.write("P.json", R"({"assets":)"); // discovery has warned of it
    EXPECT_EQ(readItem()->numberOfLines, 8);
    std::filesystem::remove(folder / "P_extended.json");
    const support::Log log;
    EXPECT_FALSE(readItem());
    EXPECT_THAT(log.text(), HasSubstr("P.json(1)"));
}

TEST_F(CapellaReadnodes, MissingExtendedFileIsNamed) {
    const support::Log log;
    EXPECT_FALSE(readItem());
    EXPECT_THAT(log.text(), HasSubstr("P_extended.json does not exist"));
    EXPECT_THAT(log.text(), HasSubstr("Could not find appropriate json metatdata file"));
}

TEST_F(CapellaReadnodes, BadValuesNameFileAndPath) {
    const ProductTree whole = tree;
    for (const auto& [path, value] :
         {std::pair<const char*, const char*>{"collect.image.rows", "0"},
          {"collect.image.columns", "-5"},
          {"collect.image.rows", "99999999999"},
          {"collect.image.rows", "12.5"},
          {"collect.image.pixel_spacing_row", "1,5"},
          {"collect.radar.center_frequency", "null"},
          {"collect.start_timestamp", "yesterday"}}) {
        tree = whole;
        support::erase(tree, geometry + "first_line_time");
        tree.put(path, value);
        const support::Log log;
        EXPECT_FALSE(read()) << path;
        EXPECT_THAT(log.text(), HasSubstr("P_extended.json: " + std::string(path) + " is "));
    }
    tree = whole; // a value that has a default is told and taken as the default
    tree.put(geometry + "delta_range_sample", "wide");
    const support::Log log;
    EXPECT_EQ(read()->sampledPixelSpacing, 0);
    EXPECT_THAT(log.text(), HasSubstr("delta_range_sample is \"wide\""));
}

TEST_F(CapellaReadnodes, AnyElementMayBeMissing) {
    const ProductTree whole = tree;
    const auto blocks = kmsc_BlocksInUse();
    std::set<std::string> optional;
    for (std::size_t i = 0;; ++i) {
        tree = whole;
        std::size_t n = i;
        const std::string path = support::removeNth(tree, n);
        if (path.empty())
            break;
        const support::Log log;
        if (read(formatCapellaGrd))
            optional.insert(path);
        else // an array's element is missed at the array's end
            EXPECT_THAT(log.text(), ContainsRegex("P_extended.json: No such node .*" +
                                                  path.substr(path.find_last_of(".]") + 1)));
        EXPECT_EQ(kmsc_BlocksInUse(), blocks) << path;
    }
    const std::string image = "collect.image.image_geometry.";
    EXPECT_THAT(optional,
                ElementsAre(image + "delta_line_time", image + "delta_range_sample",
                            image + "first_line_time", image + "gr_to_sr_poly_coeffs[]",
                            image + "ground_range_spacing", image + "range_to_first_sample",
                            "collect.radar.prf[]", "collect.radar.pulse_bandwidth",
                            "collect.state.direction", "collect.state.state_vectors[]"));
}

TEST_F(CapellaReadnodes, ShortMemoryCostsTheRecordOnly) {
    const auto blocks = kmsc_BlocksInUse();
    for (std::uint64_t n = 1; n <= 7; ++n) { // the record and its six arrays
        kmsc_FailAllocation(n);
        EXPECT_FALSE(read()) << n;
        EXPECT_EQ(kmsc_BlocksInUse(), blocks) << n;
    }
    kmsc_FailAllocation(0);
    EXPECT_TRUE(read());
}

TEST_F(CapellaReadnodes, TheModelTakesTheHeightOfTheMiddle) {
    const std::string path = "collect.image.center_pixel.target_position";
    const auto state = [&](std::initializer_list<const char*> metres) {
        ProductTree position;
        for (const char* each : metres)
            position.push_back({"", ProductTree(each)});
        tree.put_child(path, position);
        const auto record = read();
        EXPECT_EQ(record->geodeticTerrainHeight, 0);
        return sarm::sceneHeightM(*record);
    };
    EXPECT_NEAR(state({"6381137", "0", "0"}), 3000, 1e-6); // on the equator
    EXPECT_NEAR(state({"0", "0", "-6356382.314245"}), -370, 1e-5);
    EXPECT_EQ(state({"1", "2", "3"}), 0); // in the earth's middle
    EXPECT_EQ(state({"6381137", "x", "0"}), 0);
    EXPECT_EQ(state({"6381137", "0"}), 0);
}
