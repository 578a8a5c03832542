// SPDX-License-Identifier: MIT
// The model against the tie points of real products; needs their metadata (RF_SAR_PRODUCTS).

#include "platform/sarm/sar_record.h"
#include "sarm/rpc.h"

#include <GeographicLib/Geocentric.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

namespace {

struct Tie {
    sarm::ImagePosition image;
    sarm::GroundPosition ground;
};

struct Product {
    sarm::MetadataPtr record = support::emptyRecord();
    std::vector<Tie> ties;
    double offset = 0, lateLineTimes = 0;
};

Product parse(const std::string& text) {
    Product product;
    SarMetadataRecord& r = *product.record;
    const std::map<std::string, std::int32_t*> whole = {
        {"numberOfLines", &r.numberOfLines},
        {"numberOfSamplesPerLine", &r.numberOfSamplesPerLine},
        {"rangeGeometry", &r.rangeGeometry},
        {"pixelTimeOrdering", &r.pixelTimeOrdering},
        {"lineTimeOrdering", &r.lineTimeOrdering}};
    const std::map<std::string, double*> real = {
        {"semiMajorAxis", &r.semiMajorAxis},
        {"semiMinorAxis", &r.semiMinorAxis},
        {"geodeticTerrainHeight", &r.geodeticTerrainHeight},
        {"lookDirection", &r.lookDirection},
        {"sampledPixelSpacing", &r.sampledPixelSpacing},
        {"sampledLineSpacing", &r.sampledLineSpacing},
        {"slantRangeNearEdge", &r.slantRangeNearEdge},
        {"incidenceAngleCentre", &r.incidenceAngleCentre},
        {"firstLineTime", &r.firstLineTime},
        {"lastLineTime", &r.lastLineTime},
        {"stateVectorFirstTime", &r.stateVectorFirstTime},
        {"stateVectorInterval", &r.stateVectorInterval},
        {"pulseRepetitionFrequency", &r.pulseRepetitionFrequency},
        {"lateLineTimes", &product.lateLineTimes},
        {"offset", &product.offset}};
    std::vector<sarm::StateVector> vectors;
    std::istringstream lines(text);
    for (std::string line, name; std::getline(lines, line);) {
        std::istringstream words(line);
        words >> name;
        const std::vector<double> v{std::istream_iterator<double>(words), {}};
        if (whole.contains(name)) {
            *whole.at(name) = static_cast<std::int32_t>(v.at(0));
        } else if (real.contains(name)) {
            *real.at(name) = v.at(0);
        } else if (name == "habits") {
            sarm_NoteHabits(&r, static_cast<std::uint32_t>(v.at(0)));
        } else if (name == "groundToSlantRangeCoefficients") {
            std::copy(v.begin(), v.end(), r.groundToSlantRangeCoefficients);
        } else if (name == "vector") {
            vectors.push_back({0, {v.at(0), v.at(1), v.at(2)}, {v.at(3), v.at(4), v.at(5)}});
        } else if (name == "tie") {
            product.ties.push_back({{v.at(1), v.at(0)}, {v.at(3), v.at(2), v.at(4)}});
        } else if (name == "target") {
            sarm::GroundPosition ground;
            GeographicLib::Geocentric::WGS84().Reverse(v.at(2), v.at(3), v.at(4), ground.latDeg,
                                                       ground.lonDeg, ground.heightM);
            product.ties.push_back({{v.at(1), v.at(0)}, ground});
        }
    }
    support::setVectors(r, vectors);
    if (product.lateLineTimes != 0)
        sarm_NoteLateLineTimes(&r, true);
    return product;
}

/// The first file below the family's folder whose path holds `part` and ends so.
std::optional<Product> product(const std::string& part, const std::string& ending) {
    const char* folder = std::getenv("RF_SAR_PRODUCTS");
    if (!folder || !std::filesystem::is_directory(folder))
        return std::nullopt;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().string();
        if (name.find(part) == std::string::npos || !name.ends_with(ending))
            continue;
        const std::string command =
            std::string(RF_SAR_PYTHON) + " " + RF_SAR_PRODUCT_READER + " '" + name + "'";
        std::string text;
        FILE* pipe = popen(command.c_str(), "r");
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            text.append(buffer, n);
        EXPECT_EQ(pclose(pipe), 0) << command;
        return parse(text);
    }
    return std::nullopt;
}

struct Residuals {
    double lineRms = 0, sampleRms = 0, groundRmsM = 0;
};

Residuals residuals(const sarm::Model& model, const std::vector<Tie>& ties) {
    Residuals sum;
    const sarm::Ellipsoid ellipsoid = model.parameters().ellipsoid;
    for (const Tie& tie : ties) {
        const auto image = model.groundToImage(tie.ground);
        const auto ground = model.imageToGround(tie.image, tie.ground.heightM);
        if (!image || !ground)
            return {1e9, 1e9, 1e9};
        sum.lineRms += std::pow(image->line - tie.image.line, 2);
        sum.sampleRms += std::pow(image->sample - tie.image.sample, 2);
        sum.groundRmsM += std::pow(norm(sarm::toEarthFixed(*ground, ellipsoid) -
                                        sarm::toEarthFixed(tie.ground, ellipsoid)),
                                   2);
    }
    const double n = static_cast<double>(ties.size());
    Residuals rms{std::sqrt(sum.lineRms / n), std::sqrt(sum.sampleRms / n),
                  std::sqrt(sum.groundRmsM / n)};
    std::printf("line rms %.4f  sample rms %.4f  ground rms %.3f m\n", rms.lineRms, rms.sampleRms,
                rms.groundRmsM);
    return rms;
}

struct Bar {
    const char *part, *ending;
    std::size_t ties;
    double line, sample, groundM;
    bool selfTimed;
};

void PrintTo(const Bar& bar, std::ostream* out) {
    *out << bar.part;
}

class TiePoints : public testing::TestWithParam<Bar> {};

TEST_P(TiePoints, AgreeWithTheModel) {
    const Bar& bar = GetParam();
    std::optional<Product> real = product(bar.part, bar.ending);
    if (!real)
        GTEST_SKIP() << "metadata of " << bar.part << " not found below RF_SAR_PRODUCTS";
    ASSERT_EQ(real->ties.size(), bar.ties);
    const auto model = sarm::Model::fromRecord(*real->record);
    ASSERT_TRUE(model);
    EXPECT_EQ(model->history().method, sarm::OrbitMethod::separate);
    EXPECT_EQ(model->history().selfTimed, bar.selfTimed);
    const Residuals found = residuals(*model, real->ties);
    EXPECT_LE(found.lineRms, bar.line);
    EXPECT_LE(found.sampleRms, bar.sample);
    EXPECT_LE(found.groundRmsM, bar.groundM);

    const auto rpc = sarm::fitRpc(*model);
    ASSERT_TRUE(rpc);
    std::printf("rpc max line %.5f sample %.5f\n", rpc->maxLineError, rpc->maxSampleError);
    EXPECT_LE(rpc->maxLineError, 0.01);
    EXPECT_LE(rpc->maxSampleError, 0.01);
}

const char* const rcm16m = "16M5_20220605";
const char* const f0w2 = "F0W2_20170430";
INSTANTIATE_TEST_SUITE_P(
    RealProducts, TiePoints,
    testing::Values(Bar{f0w2, ".zip", 1364, 0.02, 0.01, 0.05, false},
                    Bar{rcm16m, "product.xml", 1798, 0.02, 0.05, 0.5, false},
                    Bar{"C11_SM_SLC", "_extended.json", 1, 0.01, 0.01, 0.02, true},
                    Bar{"C13_SS_SLC", "_extended.json", 1, 0.01, 0.01, 0.02, false}));

TEST(RealProductsMidnight, MovesNoTiePoint) {
    for (const auto& [part, ending] : {std::pair{f0w2, ".zip"}, std::pair{rcm16m, "product.xml"}}) {
        std::optional<Product> real = product(part, ending);
        if (!real)
            GTEST_SKIP() << "metadata of " << part << " not found below RF_SAR_PRODUCTS";
        SarMetadataRecord& record = *real->record;
        const double duration = record.lastLineTime - record.firstLineTime;
        const auto reference = sarm::Model::fromRecord(record);
        ASSERT_TRUE(reference);
        // The start of the image, in s before (-) or after midnight; the fields fold as readers do.
        for (double start = -60; start <= 60; start += 0.37) {
            const auto ofDay = [](double s) { return s < 0 ? s + 86400 : s; };
            const double a = ofDay(start), b = ofDay(start + duration);
            record.firstLineTime = std::min(a, b);
            record.lastLineTime = std::max(a, b);
            // The date is that of the file's first line, which is the later one when decreasing.
            const double dated = start + (record.lineTimeOrdering == 1 ? duration : 0);
            const double vector = start + real->offset;
            const int dayChange = (vector < 0 ? -1 : 0) - (dated < 0 ? -1 : 0);
            record.stateVectorFirstTime = dayChange < 0   ? 86400 - ofDay(vector)
                                          : dayChange > 0 ? 86400 + ofDay(vector)
                                                          : ofDay(vector);
            sarm_NoteTimes(&record, real->offset);
            const auto model = sarm::Model::fromRecord(record);
            ASSERT_TRUE(model) << start;
            for (const Tie& tie : real->ties) {
                const auto was = reference->groundToImage(tie.ground);
                const auto now = model->groundToImage(tie.ground);
                ASSERT_TRUE(now) << start;
                ASSERT_NEAR(now->line, was->line, 1e-3) << start;
                ASSERT_NEAR(now->sample, was->sample, 1e-3) << start;
            }
        }
    }
}

TEST(RealProductsRefusal, NoZeroDopplerGridNoModel) {
    const struct {
        const char *part, *ending;
        sarm::Refusal refusal;
    } cases[] = {{"C13_SP_SLC", "_extended.json", sarm::Refusal::noSlantRange},
                 {"ARL_SP_SLC", "_extended.json", sarm::Refusal::noSlantRange},
                 {"C14_SP_GEO", "_extended.json", sarm::Refusal::noSlantRange},
                 {"3MCP24_2020", "product.xml", sarm::Refusal::notRadarGrid}};
    for (const auto& expected : cases) {
        const std::optional<Product> real = product(expected.part, expected.ending);
        if (!real)
            GTEST_SKIP() << "metadata of " << expected.part << " not found below RF_SAR_PRODUCTS";
        sarm::Refusal why{};
        EXPECT_FALSE(sarm::Model::fromRecord(*real->record, &why)) << expected.part;
        EXPECT_EQ(why, expected.refusal) << expected.part;
    }
}

} // namespace
