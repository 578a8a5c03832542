// SPDX-License-Identifier: MIT
// A whole product, its files in sections, opened and read through the plug-in's entry points as
// hosts do it.
#include "fuzz/memory_folder.h"
#include "fuzz/require.h"
#include "fuzz/sections.h"
#include "product/bursts/burst_faults.h"
#include "product/checks/checks.h"
#include "product/metadata_items.h"
#include "product/place/footprint.h"
#include "product/place/placement.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_tables.h"

#include <set>

namespace {

constexpr std::size_t mostLayers = 6;         ///< a document may list thousands
constexpr std::size_t largestBlock = 1 << 22; ///< bytes that are worth the time

/// Bad input is told as a loader::Error, and as nothing else.
template <class Step>
void attempt(const Step& step) {
    try {
        step();
    } catch (const loader::Error& error) {
        fuzz::require(*error.what() != '\0', "an error has a reason");
    }
}

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

void locate(const product::OpenedProduct& opened, const loader::Layer& layer) {
    attempt([&] {
        const product::Locator locator(opened, layer);
        for (const auto& ring :
             product::footprintOf(locator, layer.width(), layer.height()).polygons)
            for (const product::LonLat& corner : ring)
                fuzz::require(std::abs(corner.lonDeg) <= 180 && std::abs(corner.latDeg) <= 90,
                              "a footprint lies on the earth");
    });
    attempt([&] {
        const product::Window whole{0, 0, layer.width(), layer.height()};
        const product::Place place = product::placeOf(opened, layer);
        std::string remarks;
        product::placementOf(place, whole);
        product::publishedRpc(opened, place, whole, remarks);
    });
}

/// All layers lie on the same ground; one is located.
void readLayer(const product::OpenedProduct& opened, const std::string& name, bool isFirst) {
    const loader::Layer layer = opened.product.openLayer(name);
    attempt([&] { readBlocks(layer); });
    if (isFirst)
        locate(opened, layer);
}

void readNode(const loader::Product& opened, const std::string& name) {
    std::string remarks;
    const KmifNode node = opened.node(name, remarks);
    KmifNode again;
    const std::string text = kmif_NodeToText(node);
    fuzz::require(kmif_NodeFromText(text, &again, nullptr) && kmif_NodeToText(again) == text,
                  "a node reads back to the same");
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
        attempt([&] { product::readCalibration(stated, table, columns, false); });
    for (const product::NoiseTable& table : stated.noiseTables())
        attempt([&] { product::readNoise(stated, table, columns); });
    if (!stated.incidenceFile().empty())
        attempt([&] { product::readIncidence(stated, columns); });
}

void readProduct(const std::string& entry) {
    const auto whole = product::openProduct(entry);
    const product::OpenedProduct& opened = *whole;
    auto names = opened.layerNames();
    names.resize(std::min(names.size(), mostLayers));
    names.push_back("C_HH_MAGNITUDE_OneLineAsBlock_1");
    for (const std::string& name : names)
        attempt([&] { readLayer(opened, name, name == names.front()); });
    for (const std::string& name : opened.nodeNames())
        attempt([&] { readNode(opened.product, name); });
    attempt([&] { readStatements(opened.stated()); });
    static_cast<void>(product::runChecks(opened));
}

} // namespace

/// Before the first input, so that the plug-in's code counts from the beginning.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static_cast<void>(loader::Plugin::instance());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const fuzz::MemoryFolder folder;
    for (const fuzz::Section& file : fuzz::sections({reinterpret_cast<const char*>(bytes), size}))
        folder.write(file.name, file.content);
    attempt([&] { readProduct(folder.path()); });
    return 0;
}
