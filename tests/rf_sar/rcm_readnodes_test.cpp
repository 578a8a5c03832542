// SPDX-License-Identifier: MIT
#include "rcm_readnodes.h"

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "rcm_metadata.h"
#include "sarm/model_area.h"
#include "sarm/sarm.h"
#include "support/metadata_trees.h"
#include "support/record_fields.h"
#include "support/temporary_folder.h"

#include <boost/property_tree/xml_parser.hpp>
#include <gmock/gmock.h>

#include <set>

namespace {

using support::ProductTree;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string estimates = "product.dopplerCentroid.";
const std::string processing = "product.imageGenerationParameters.sarProcessingInformation.";
const std::string orbit = "product.sourceAttributes.orbitAndAttitude.orbitInformation.";

struct RcmReadnodes : testing::Test {
    support::TemporaryFolder folder;
    ProductTree tree;

    RcmReadnodes() {
        reset();
        writeAngles({"10", "20", "30", "40"});
    }

    void reset() {
        tree.clear();
        boost::property_tree::read_xml(RF_SAR_TEST_DATA "/rcm_product.xml", tree);
    }

    void writeAngles(const std::vector<std::string>& angles) const {
        std::string text = "<incidenceAngles><stepSize>1</stepSize>";
        for (const auto& angle : angles)
            text += "<angles units=\"deg\">" + angle + "</angles>";
        folder.write("calibration/angles.xml", text + "</incidenceAngles>");
    }

    std::string product() const { return (folder.path() / "product.xml").string(); }

    sarm::MetadataPtr read(std::int32_t type = rcmSlc) const {
        std::shared_ptr<const kfio::ProductTree> incidenceAngles;
        return sarm::MetadataPtr(
            rcm_sarNodeRead(tree, ktxt::widen(product()), type, incidenceAngles));
    }
    /// @return the error's text, empty when there was none.
    std::string failure(std::int32_t type = rcmSlc) const {
        try {
            read(type);
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }
};

} // namespace

TEST_F(RcmReadnodes, FillsEveryField) {
    const auto record = read();
    support::expectFields({RECORD_FIELD(recordVersion, 0),
                           RECORD_FIELD(passDirection, 2),
                           RECORD_FIELD(productGeometry, 3),
                           RECORD_FIELD(beamModeClass, 1),
                           RECORD_FIELD(rangeGeometry, 2),
                           RECORD_FIELD(pixelTimeOrdering, 1),
                           RECORD_FIELD(lineTimeOrdering, 0),
                           RECORD_FIELD(firstLineYear, 2023),
                           RECORD_FIELD(firstLineMonth, 7),
                           RECORD_FIELD(firstLineDay, 8),
                           RECORD_FIELD(firstLineDayOfYear, 189),
                           RECORD_FIELD(firstLineTime, 3726),
                           RECORD_FIELD(lastLineTime, 3732),
                           RECORD_FIELD(imageDuration, 6),
                           RECORD_FIELD(stateVectorFirstTime, 3723.000004),
                           RECORD_FIELD(stateVectorInterval, 1.5),
                           RECORD_FIELD(semiMajorAxis, 6378137),
                           RECORD_FIELD(semiMinorAxis, 6356752.25),
                           RECORD_FIELD(geodeticTerrainHeight, 45),
                           RECORD_FIELD(lookDirection, 90),
                           RECORD_FIELD(wavelength, 0.1),
                           RECORD_FIELD(adcSamplingRate, 3e7),
                           RECORD_FIELD(pulseRepetitionFrequency, 100),
                           RECORD_FIELD(totalProcessedRangeBandwidth, 5e7),
                           RECORD_FIELD(totalProcessedAzimuthBandwidth, 1500),
                           RECORD_FIELD(rangeWindowCoefficient, 2.9),
                           RECORD_FIELD(azimuthWindowCoefficient, 0.7),
                           RECORD_FIELD(sampledPixelSpacing, 2),
                           RECORD_FIELD(sampledLineSpacing, 3),
                           RECORD_FIELD(slantRangeNearEdge, 599802),
                           RECORD_FIELD(rangeWindowType, 2),
                           RECORD_FIELD(azimuthWindowType, 1),
                           RECORD_FIELD(numberOfStateVectors, 2),
                           RECORD_FIELD(stateVectorZPosition.count, 2),
                           RECORD_FIELD(stateVectorYPosition.values[1], 8),
                           RECORD_FIELD(stateVectorXVelocity.values[0], 4500),
                           RECORD_FIELD(imageWindowValid, 1),
                           RECORD_FIELD(lastSample, 199),
                           RECORD_FIELD(sampleCount, 200),
                           RECORD_FIELD(lastLine, 300),
                           RECORD_FIELD(lineCount, 301)});
    EXPECT_THAT(record->groundToSlantRangeCoefficients, testing::Each(0));
    // The middle of the image is second 9; the second estimate is the first within 1 s of it.
    EXPECT_THAT(record->dopplerCentroid[0].coefficients, ElementsAre(60, 2, 0, 0, 0, 0));
    EXPECT_EQ(record->dopplerCentroid[0].azimuthTime, 3729.5);
    EXPECT_EQ(record->dopplerCentroid[1].numberOfCoefficients, 0);
}

TEST_F(RcmReadnodes, DetectedProductsHaveARangePolynomialAndNoDoppler) {
    const auto record = read(rcmGrd);
    EXPECT_THAT((std::array{record->productGeometry, record->rangeGeometry,
                            record->dopplerCentroid[0].numberOfCoefficients}),
                ElementsAre(0, 1, 0));
    EXPECT_THAT(record->groundToSlantRangeCoefficients, ElementsAre(1, 2.5, 3, 0, 0, 0));
}

TEST_F(RcmReadnodes, OneElementDecidesOneField) {
    struct Case {
        std::string path, value;
        double (*field)(const SarMetadataRecord&);
        double expected;
    };
    const auto mode = [](const SarMetadataRecord& r) { return double(r.beamModeClass); };
    const auto look = [](const SarMetadataRecord& r) { return r.lookDirection; };
    const auto pass = [](const SarMetadataRecord& r) { return double(r.passDirection); };
    const std::string source = "product.sourceAttributes.";
    const Case cases[] = {
        {source + "beamMode", "spotlight", mode, 2},
        {source + "beamMode", "QUAD-POLARIZATION", mode, 1},
        {source + "beamMode", "Low Resolution 100m", mode, 1},
        {source + "beamMode", "Very High Resolution 3m", mode, 1},
        {source + "beamMode", "ScanSAR Wide", mode, 0},
        {source + "radarParameters.antennaPointing", "right", look, 90},
        {source + "radarParameters.antennaPointing", "Starboard", look, -90},
        {orbit + "passDirection", "", pass, 1},
        {processing + "zeroDopplerTimeLastLine", "2023-07-08T01:01:00.25Z",
         [](const SarMetadataRecord& r) { return r.firstLineTime; }, 3660.25},
        {"product.imageReferenceAttributes.rasterAttributes.lineTimeOrdering", "increasing.",
         [](const SarMetadataRecord& r) { return double(r.lineTimeOrdering); }, 1},
    };
    for (const Case& c : cases) {
        reset();
        tree.put(c.path, c.value);
        EXPECT_EQ(c.field(*read()), c.expected) << c.path << " " << c.value;
    }
}

TEST_F(RcmReadnodes, CentreIncidenceIsTheLowerMiddleAngle) {
    for (const auto& [angles, expected] :
         {std::pair<std::vector<std::string>, double>{{"10", "20", "30", "40"}, 20},
          {{"10", "20", "30", "40", "50"}, 20},
          {{"10", "20"}, 10},
          {{"10"}, 0}}) {
        writeAngles(angles);
        EXPECT_EQ(read()->incidenceAngleCentre, expected) << angles.size();
    }
    writeAngles({});
    EXPECT_THAT(failure(),
                HasSubstr("calibration/angles.xml: No such node (incidenceAngles.angles)"));
    writeAngles({"10", "500"});
    EXPECT_EQ(read()->incidenceAngleCentre, 10);
    writeAngles({"500", "20"});
    {
        const support::Log log;
        EXPECT_EQ(read()->incidenceAngleCentre, 500);
        EXPECT_THAT(log.text(), HasSubstr("angles.xml: incidenceAngles.angles[0] is 500"));
    }
    writeAngles({"10", "x", "30", "40"});
    EXPECT_THAT(failure(), HasSubstr("incidenceAngles.angles[1] is \"x\""));
    std::filesystem::remove(folder.path() / "calibration/angles.xml");
    EXPECT_THAT(failure(), HasSubstr("angles.xml: cannot open file (does not exist)"));
    tree.put("product.imageReferenceAttributes.incidenceAngleFileName", "/etc/passwd");
    EXPECT_THAT(failure(), HasSubstr("\"/etc/passwd\" is absolute"));
}

TEST_F(RcmReadnodes, SpotlightTakesFirstAndLastEstimate) {
    tree.put("product.sourceAttributes.beamMode", "Spotlight");
    const support::Log log;
    const auto record = read();
    EXPECT_THAT(record->dopplerCentroid[0].coefficients, ElementsAre(50, 1, 0, 0, 0, 0));
    EXPECT_THAT(record->dopplerCentroid[1].coefficients, ElementsAre(70, 3, 4, 0, 0, 0));
    EXPECT_EQ(record->dopplerCentroid[1].numberOfCoefficients, 3);
    EXPECT_THAT(log.text(), HasSubstr("dopplerCentroidEstimate[2].dopplerCentroidCoefficients has "
                                      "text that is no number behind its first 3"));
}

TEST_F(RcmReadnodes, OneSpotlightEstimateBecomesTwo) {
    tree.put("product.sourceAttributes.beamMode", "Spotlight");
    for (int i = 0; i < 2; ++i) // the first two estimates
        support::erase(tree, estimates + "dopplerCentroidEstimate");
    const auto record = read();
    // Centre sample 100 of 200 running from far to near: 99 samples of 2 m from the near edge.
    const double slopeHzPerS = 2 * 100 * 7500. / (99 * 2 + 599802);
    EXPECT_DOUBLE_EQ(record->dopplerCentroid[0].coefficients[0], 70 + 5 * slopeHzPerS);
    EXPECT_DOUBLE_EQ(record->dopplerCentroid[1].coefficients[0], 70 - 1 * slopeHzPerS);
    EXPECT_THAT((std::array{record->dopplerCentroid[0].azimuthTime,
                            record->dopplerCentroid[1].azimuthTime}),
                ElementsAre(3726, 3732));
}

TEST_F(RcmReadnodes, NoneOneAndEarlierStateVectors) {
    tree.put(orbit + "stateVector.timeStamp", "2023-07-07T23:59:50.5Z"); // the day before
    EXPECT_EQ(read()->stateVectorFirstTime, 9.5);
    ProductTree third = tree.get_child(orbit + "stateVector");
    third.put("timeStamp", "soon"); // beyond the second, times do not count
    tree.add_child(orbit + "stateVector", third);
    EXPECT_EQ(read()->stateVectorXPosition.count, 3);
    tree.get_child(orbit.substr(0, orbit.size() - 1)).pop_back();
    support::erase(tree, orbit + "stateVector");
    EXPECT_EQ(read()->stateVectorInterval, -3724.500004);
    support::erase(tree, orbit + "stateVector");
    const support::Log log;
    const auto record = read();
    EXPECT_THAT((std::array{record->stateVectorFirstTime, record->stateVectorInterval}),
                ElementsAre(0, 0));
    EXPECT_EQ(record->stateVectorXPosition.count, 0);
    EXPECT_TRUE(record->imageWindowValid);
    EXPECT_THAT(log.text(), HasSubstr("product.xml: no SAR model: The product has no orbit"));
}

TEST_F(RcmReadnodes, TheModelGetsTheTrueOffsetOfTheFirstVector) {
    const auto offset = [this] { return sarm::readModelArea(*read()).firstVectorMinusStartS; };
    EXPECT_NEAR(offset(), -2.999996, 1e-6);
    tree.put(processing + "zeroDopplerTimeLastLine", "2023-07-07T23:59:59Z"); // earlier, by a day
    EXPECT_NEAR(offset(), 3724.000004, 1e-6);
}

TEST_F(RcmReadnodes, LineTimesOfStripsAreLate) {
    const auto told = [this] { return sarm::readModelArea(*read()).flags & sarm::areaOfReader; };
    constexpr std::uint32_t asStated = sarm::areaNoted | sarm::areaLateLineTimes;
    const support::Log log;
    setenv("RF_SAR_RCM_LINE_TIMES", "stated", 1);
    EXPECT_EQ(told(), asStated);
    EXPECT_THAT(log.text(), testing::Not(HasSubstr("RF_SAR_RCM_LINE_TIMES")));
    setenv("RF_SAR_RCM_LINE_TIMES", "early", 1);
    EXPECT_EQ(told(), asStated | sarm::areaCorrectedLineTimes);
    EXPECT_THAT(log.text(), HasSubstr("RF_SAR_RCM_LINE_TIMES is \"early\", neither"));
    unsetenv("RF_SAR_RCM_LINE_TIMES");
    EXPECT_EQ(told(), asStated | sarm::areaCorrectedLineTimes);
    EXPECT_EQ(read()->firstLineTime, 3726);
    tree.put("product.sourceAttributes.beamMode", "Spotlight");
    EXPECT_EQ(told(), sarm::areaNoted);
}

TEST_F(RcmReadnodes, AnyElementMayBeMissing) {
    const ProductTree whole = tree;
    const auto blocks = kmsc_BlocksInUse();
    std::set<std::string> optional;
    for (std::size_t i = 0;; ++i) {
        tree = whole;
        std::size_t n = i;
        const std::string path = support::removeNth(tree, n);
        if (path.empty())
            break;
        const std::string error = failure();
        if (error.empty())
            optional.insert(path.substr(path.rfind('.') + 1));
        else
            EXPECT_THAT(error, testing::AllOf(HasSubstr(product() + ": No such node (product"),
                                              HasSubstr(path.substr(path.rfind('.') + 1))));
        EXPECT_EQ(kmsc_BlocksInUse(), blocks) << path;
    }
    // Those that stripmap complex products do not need, or that occur twice.
    EXPECT_THAT(optional,
                ElementsAre("<xmlattr>", "adcSamplingRate", "dopplerCentroidCoefficients",
                            "dopplerCentroidEstimate", "dopplerCentroidReferenceTime",
                            "generalProcessingInformation", "groundToSlantRangeCoefficients",
                            "ipdf", "polarizations", "prfInformation", "productType",
                            "pulseRepetitionFrequency", "satellite", "stateVector",
                            "timeOfDopplerCentroidEstimate", "xmlns"));
}

TEST_F(RcmReadnodes, TheTreeOfDiscoveryServesUnlessTheFileChanged) {
    const auto write = [this] { boost::property_tree::write_xml(product(), tree); };
    const auto linesAfter = [&](const std::function<void()>& change) {
        write();
        rcmImageMetadata reader;
        reader.fileName = ktxt::widen(product());
        std::uint32_t index = 0;
        kerr::Slot slot;
        EXPECT_FALSE(reader.getReferencedFiles(&index, slot).empty());
        change();
        const sarm::MetadataPtr record(reader.readSARnode());
        return record ? record->numberOfLines : 0;
    };
    EXPECT_EQ(linesAfter([] {}), 301);
    EXPECT_EQ(linesAfter([&] {
                  tree.put("product.sceneAttributes.imageAttributes.numLines", 1302);
                  write();
              }),
              1302);
    const support::Log log;
    EXPECT_EQ(linesAfter([&] { std::filesystem::remove(product()); }), 0);
    EXPECT_THAT(log.text(), HasSubstr("does not exist"));
}
