// A whole product, its files in sections, opened and read through the plug-in's entry points as
// hosts do it.
#include "fuzz/memory_folder.h"
#include "fuzz/require.h"
#include "fuzz/sections.h"
#include "product/checks/checks.h"
#include "product/families/product_facts.h"
#include "product/find_product.h"
#include "product/metadata_items.h"
#include "product/place/footprint.h"
#include "product/place/placement.h"
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

void locate(const loader::Layer& layer) {
    attempt([&] {
        const product::Locator locator(layer);
        for (const auto& ring :
             product::footprintOf(locator, layer.width(), layer.height()).polygons)
            for (const product::LonLat& corner : ring)
                fuzz::require(std::abs(corner.lonDeg) <= 180 && std::abs(corner.latDeg) <= 90,
                              "a footprint lies on the earth");
    });
    attempt([&] {
        const product::Window whole{0, 0, layer.width(), layer.height()};
        const product::Place place = product::placeOf(layer);
        std::string remarks;
        product::placementOf(place, whole);
        product::publishedRpc(place, whole, remarks);
    });
}

/// All layers lie on the same ground; one is located.
void readLayer(const loader::Product& opened, const std::string& name, bool isFirst) {
    const loader::Layer layer = opened.openLayer(name);
    attempt([&] { readBlocks(layer); });
    if (isFirst)
        locate(layer);
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

void readDocument(const std::string& file) {
    const product::ProductDocument document = product::readDocument(file);
    static_cast<void>(product::metadataItems(document));
    for (const product::NoiseTable& table : product::noiseTables(document))
        attempt([&] { product::readNoise(document, table, someWidth); });
    if (!product::incidenceFile(document).empty())
        attempt([&] { product::readIncidence(document, someWidth); });
}

void readProduct(const std::string& entry) {
    const loader::Product opened(loader::Plugin::instance(), product::findProduct(entry));
    auto names = opened.layerNames();
    names.resize(std::min(names.size(), mostLayers));
    names.push_back("C_HH_MAGNITUDE_OneLineAsBlock_1");
    for (const std::string& name : names)
        attempt([&] { readLayer(opened, name, name == names.front()); });
    for (const std::string& name : opened.nodeNames())
        attempt([&] { readNode(opened, name); });
    attempt([&] { readDocument(opened.name()); });
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
