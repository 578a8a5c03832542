// SPDX-License-Identifier: MIT
// A product through the plug-in's entry points and the library that all hosts share.
#include "fuzz/attempt.h"
#include "fuzz/require.h"
#include "fuzz/ways.h"
#include "product/bursts/burst_faults.h"
#include "product/checks/checks.h"
#include "product/images/raster.h"
#include "product/metadata_items.h"
#include "product/place/footprint.h"
#include "product/place/placement.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_tables.h"

#include <array>
#include <cmath>
#include <limits>
#include <set>

namespace fuzz {
namespace {

constexpr std::size_t mostLayers = 6;         ///< a document may list thousands
constexpr std::size_t mostRasters = 4;        ///< of power, noise, angles, in turn
constexpr std::size_t turnsToFit = 32;        ///< rational functions take longer than all else
constexpr std::size_t largestBlock = 1 << 22; ///< bytes that are worth the time

void readBlocks(const loader::Layer& layer) {
    if (layer.blockBytes() > largestBlock)
        return;
    std::vector<std::uint16_t> block(layer.blockBytes() / 2);
    const std::uint32_t lastRow = (layer.height() - 1) / layer.blockHeight();
    const std::uint32_t lastColumn = (layer.width() - 1) / layer.blockWidth();
    for (const std::uint32_t row : {0U, lastRow, lastRow + 1, 0xFFFFFFFFU})
        for (const std::uint32_t column : std::set{0U, lastColumn})
            attempt([&] { layer.readBlock(row, column, block.data()); });
}

/// An answer is a place on the earth, or none at all; and so is the way back.
void askModel(const product::Locator& locator, double width, double height) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    const KxfrPixel pixels[] = {
        {0, 0}, {width - 1, height - 1}, {width / 2, height / 2}, {-1, 9}, {1e9, -1e9}, {none, 0}};
    std::array<KxfrMapPoint, std::size(pixels)> ground{};
    std::array<KxfrPixel, std::size(pixels)> back{};
    for (KxfrMapPoint& point : ground)
        point.heightM = locator.sceneHeightM();
    locator.toGround(pixels, ground);
    for (const KxfrMapPoint& point : ground)
        require((std::isnan(point.x) && std::isnan(point.y)) ||
                    (std::abs(point.x) <= 180 && std::abs(point.y) <= 90),
                "a place lies on the earth");
    locator.toImage(ground, back);
    for (const KxfrPixel& pixel : back)
        require(std::isfinite(pixel.sample) ? std::isfinite(pixel.line)
                                            : std::isnan(pixel.sample) && std::isnan(pixel.line),
                "a pixel is two numbers, or none");
}

void locate(const product::OpenedProduct& opened, const loader::Layer& layer, bool fits) {
    const product::Locator locator(opened, layer);
    askModel(locator, layer.width(), layer.height());
    for (const auto& ring : product::footprintOf(locator, layer.width(), layer.height()).polygons)
        for (const product::LonLat& corner : ring)
            require(std::abs(corner.lonDeg) <= 180 && std::abs(corner.latDeg) <= 90,
                    "a footprint lies on the earth");
    const product::Window whole{0, 0, layer.width(), layer.height()};
    product::placementOf(*locator.place(), whole);
    std::string remarks;
    if (fits)
        product::publishedRpc(opened, *locator.place(), whole, remarks);
}

void readNode(const loader::Product& opened, const std::string& name) {
    std::string remarks;
    const KmifNode node = opened.node(name, remarks);
    KmifNode again;
    const std::string text = kmif_NodeToText(node);
    require(kmif_NodeFromText(text, &again, nullptr) && kmif_NodeToText(again) == text,
            "a node reads back to the same");
    requireText(remarks, false);
}

constexpr std::uint32_t someWidth = 64; // columns; the seeds' images have as many or fewer

void readStatements(const product::StatedProduct& stated) {
    static_cast<void>(product::metadataItems(stated));
    static_cast<void>(stated.acquisition());
    static_cast<void>(stated.radar());
    static_cast<void>(stated.outline());
    attempt([&] { product::burstFaults(stated); });
    const product::ImageColumns columns{someWidth, stated.imageClaims().width, 0};
    for (const product::CalibrationTable& table : stated.calibrationTables())
        attempt([&] {
            for (const double divisor :
                 product::readCalibration(stated, table, columns, false).divisors)
                require(std::isfinite(divisor) && divisor > 0, "a gain can be divided by");
        });
    for (const product::NoiseTable& table : stated.noiseTables())
        attempt([&] {
            for (const double level : product::readNoise(stated, table, columns).values)
                require(std::isfinite(level), "a noise level is a number");
        });
    if (!stated.incidenceFile().empty())
        attempt([&] {
            for (const double angle : product::readIncidence(stated, columns).values)
                require(angle >= 0 && angle <= 90, "an incidence angle is one");
        });
}

/// @return whether the look at all samples finds something wrong with the images.
bool imagesAreBad(const product::OpenedProduct& opened) {
    for (const product::Finding& finding :
         product::readImages(opened, [](std::uint64_t, std::uint64_t) {}))
        if (finding.verdict != product::Verdict::ok)
            return true;
    return false;
}

void readRaster(const product::Raster& raster, const product::Entry& entry) {
    if (raster.blockBytes() > largestBlock || raster.type() != kimg::SampleType::float32)
        return;
    std::vector<float> block(raster.blockBytes() / sizeof(float));
    raster.readBlock(0, 0, block.data());
    bool finite = true;
    for (const float sample : block) {
        // Decibels of no power, and what lies between bursts, are not a number.
        const bool mayLack = entry.decibels || entry.kind == product::Entry::Kind::mosaic;
        finite = finite && (std::isfinite(sample) || (mayLack && std::isnan(sample)));
        require(entry.kind != product::Entry::Kind::incidence || (sample >= 0 && sample <= 90),
                "an incidence angle is one");
    }
    if (!finite)
        require(entry.isPower() && imagesAreBad(raster.opened()),
                "a calibrated sample is a number, or check tells");
}

void readRasters(const std::shared_ptr<const product::OpenedProduct>& opened, std::size_t turn) {
    const std::vector<product::Entry> entries = product::catalogue(*opened);
    for (std::size_t i = 0; i < std::min(entries.size(), mostRasters); ++i) {
        const product::Entry& entry = entries[(turn / turnsToFit + i) % entries.size()];
        if (entry.kind == product::Entry::Kind::layer)
            continue;
        attempt([&] { readRaster(*product::openRaster(opened, entry), entry); });
        if (entry.isPower())
            attempt([&] {
                readRaster(
                    *product::openRaster(opened, product::treated(entry, {entry.decibels, true})),
                    entry);
            });
    }
}

/// What is not needed to reach what follows is done for every second input each.
enum Part : std::size_t { place = 1, nodes = 2, rasters = 4, checks = 8 };

void readProduct(const std::string& entry, std::size_t turn) {
    const auto whole = product::openProduct(entry);
    const product::OpenedProduct& opened = *whole;
    auto names = opened.layerNames();
    names.resize(std::min(names.size(), mostLayers));
    names.push_back("C_HH_MAGNITUDE_OneLineAsBlock_1");
    for (const std::string& name : names)
        attempt([&] {
            const loader::Layer layer = opened.product.openLayer(name);
            attempt([&] { readBlocks(layer); });
            if ((turn & place) && name == names.front()) // all layers lie on the same ground
                locate(opened, layer, turn % turnsToFit == place);
        });
    if (turn & nodes)
        for (const std::string& name : opened.nodeNames())
            attempt([&] { readNode(opened.product, name); });
    attempt([&] { readStatements(opened.stated()); });
    if (turn & rasters)
        attempt([&] { readRasters(whole, turn); });
    if (turn & checks)
        for (const product::Finding& finding : product::runChecks(opened))
            requireSentence(finding.sentence);
}

} // namespace

void openByLibrary(const std::string& entry, std::size_t turn) {
    attempt([&] { readProduct(entry, turn); });
}

} // namespace fuzz
