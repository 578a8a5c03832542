// SPDX-License-Identifier: MIT
// Writes one transform of each kind, and records as text, into the corpus: seeds FOLDER.
#include "fuzz/transform_texts.h"
#include "kmif/kmif_node.h"
#include "support/spotlight.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <span>

namespace {

namespace fs = std::filesystem;

void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

/// A circular orbit over a scene at the equator, as fits of first degree.
sarm::ModelParameters smallModel() {
    sarm::ModelParameters p;
    p.startTimeS = 25000;
    p.imageDurationS = 10;
    p.side = 1;
    p.grid.numberOfLines = p.grid.numberOfSamples = 1000;
    p.grid.timePerLineS = 0.01;
    p.grid.rangeOfSample0M = 850e3;
    p.grid.rangePerSampleM = 10;
    p.grid.rangeExtentM = 10e3;
    p.orbit.centreTimeS = 5;
    p.orbit.halfSpanS = 30;
    p.orbit.positionDegree = 1;
    p.orbit.position[0][0] = 7.1e6;
    p.orbit.position[2][1] = 7500 * p.orbit.halfSpanS;
    p.orbit.velocity[2][0] = 7500;
    return p;
}

void writeTransforms(const fs::path& folder) {
    const std::array<double, 6> north = {11, 0.001, 0, 48, 0, -0.001};
    const KxfrTie ties[] = {{{0, 0}, 11, 48},     {{99, 0}, 11.1, 48.01}, {{0, 99}, 10.98, 47.9},
                            {{99, 99}, 11.08, 47.91}, {{50, 50}, 11.04, 47.95}};
    const KxfrXFormPtr transforms[] = {
        KxfrXFormPtr(kxfr_XFormFromAffine(north, 100, 100, KxfrMap::plane, nullptr)),
        KxfrXFormPtr(kxfr_XFormFromAffine(north, 100, 100, KxfrMap::degrees, nullptr)),
        KxfrXFormPtr(kxfr_XFormFromTies(ties, KxfrMap::plane, nullptr)),
        KxfrXFormPtr(kxfr_XFormFromTies(ties, KxfrMap::degrees, nullptr)),
        KxfrXFormPtr(kxfr_XFormFromSarModel(sarm::Model(smallModel()), nullptr)),
        KxfrXFormPtr(kxfr_XFormFromPolarFormat(support::spotlight(), nullptr))};
    int number = 0;
    for (const KxfrXFormPtr& transform : transforms)
        write(folder / std::to_string(++number), fuzz::textOf(*transform));
}

void writeRecords(const fs::path& folder) {
    struct Record {
        char text[8] = "abc";
        std::int32_t count = 2;
        const double* gains = nullptr;
        double inner[3] = {1, -2.5, 3e300};
    } record;
    const double gains[] = {0.1, 7};
    record.gains = gains;
    const kmif::DictionaryPtr dictionary(kmif_DictionaryCreate(nullptr));
    const kmif::DesignPtr design(kmif_DesignCreate(dictionary.get(), "Record",
                                                   {{kmifText, "text", 8},
                                                    {kmifInt32, "count"},
                                                    {kmifCounted + kmifFloat64, "gains"},
                                                    {kmifInline + kmifFloat64, "inner", 3}}));
    const kmif::DesignPtr outer(kmif_DesignCreate(
        dictionary.get(), "Outer",
        {{kmifPadding, "padding", 4}, {kmifInline + kmifNested, "records", 2, design.get()}}));
    KmifNode node;
    kmif_NodeCreate(&record, design.get(), &node, nullptr);
    write(folder / "node", kmif_NodeToText(node));
    const kmsc::HeapPtr<char16_t> text(kmif_DictionaryEncodeToString(dictionary.get(), nullptr));
    write(folder / "dictionary", ktxt::narrow(text.get()));
    write(folder / "data",
          R"({"unsigned":7,"inline":[1,"NaN","-INF"],"array":[1,2],"count":1,"counted":[0.5],)"
          R"("nested":[{"text":"a","long":-5},{"text":"\u00e9","long":9223372036854775807}]})");
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2)
        return 2;
    writeTransforms(fs::path(arguments[1]) / "transform");
    writeRecords(fs::path(arguments[1]) / "kmif");
    return 0;
}
