#include "console.h"
#include "interruption.h"
#include "kimg/tiff_writer.h"
#include "layer_tiles.h"
#include "ordered_work.h"
#include "output_file.h"
#include "product/find_product.h"
#include "product/product_facts.h"
#include "verbs.h"

#include <algorithm>
#include <map>

namespace {

using kimg::TiffWriter;

constexpr char description[] = "write layers as a GeoTIFF, with their place on the ground";
constexpr char footer[] =
    "Several layers become bands of one file; they must be of one size and type. Images in the\n"
    "radar's grid carry tie points (GCPs) and, where there is a sensor model, its rational\n"
    "polynomials (RPC); maps carry their geotransform.";

struct ExportOptions {
    std::string file;
    std::vector<std::string> layers;   ///< empty: the product's first
    std::vector<std::uint32_t> window; ///< x, y, width, height; empty for whole layers
    std::string output;
    kimg::TiffCompression compression = kimg::TiffCompression::none;
    bool overviews = false;
    std::size_t maxMemoryMiB = 256;
    bool force = false;
};

bool isPhase(const loader::Layer& layer) {
    return product::parseLayerName(layer.name()).isPhase();
}

std::vector<loader::Layer> openLayers(const loader::Product& opened,
                                      std::vector<std::string> names) {
    if (names.empty()) {
        names = opened.layerNames();
        if (names.empty())
            throw loader::Error(opened.name() + ": the product has no layers");
        names.resize(1);
    }
    std::vector<loader::Layer> layers;
    for (const std::string& name : names)
        layers.push_back(opened.openLayer(name));
    return layers;
}

/// Bands of one file have one size and type.
void requireEqual(const std::vector<loader::Layer>& layers) {
    const auto describe = [](const loader::Layer& layer) {
        return layer.name() + " (" + std::to_string(layer.width()) + " x " +
               std::to_string(layer.height()) + ", " + (isPhase(layer) ? "phase" : "magnitude") +
               ")";
    };
    const loader::Layer& first = layers.front();
    for (const loader::Layer& layer : layers)
        if (layer.width() != first.width() || layer.height() != first.height() ||
            layer.pixelType() != first.pixelType())
            throw loader::Error("layers " + describe(first) + " and " + describe(layer) +
                                " do not fit into one file: choose with --layer those of one size "
                                "and type, and export the others on their own");
}

product::Window windowOf(const ExportOptions& options, const loader::Layer& layer) {
    if (options.window.empty())
        return {0, 0, layer.width(), layer.height()};
    const auto& w = options.window;
    layer.requireInside(w[0], w[1], w[2], w[3]);
    return {w[0], w[1], w[2], w[3]};
}

kimg::TiffLayout layoutOf(const ExportOptions& options, const std::vector<loader::Layer>& layers,
                          const product::Window& window) {
    auto placement = product::placementOf(layers.front(), window);
    if (!placement.remarks.empty())
        console::warning(placement.remarks);
    const auto& place = placement.place;
    if (!place.geoTransform && place.gcps.empty())
        console::warning("layer " + layers.front().name() + ": nothing says where it lies");
    kimg::TiffLayout layout{window.width,
                            window.height,
                            isPhase(layers.front()),
                            options.compression,
                            {},
                            std::move(placement.place)};
    for (const loader::Layer& layer : layers)
        layout.bandNames.push_back(layer.name());
    return layout;
}

/// Reads and converts on all cores while tiles are written in order.
void copyBand(const LayerTiles& tiles, const std::string& name, std::uint32_t band,
              std::size_t memory, TiffWriter& writer) {
    constexpr std::size_t tileBytes = TiffWriter::tileSamples * sizeof(std::uint16_t);
    const std::size_t roomInTiles = memory / tileBytes;
    const std::size_t wantedSlots = 2 * machineThreads() + 1;
    const std::uint32_t together = tiles.tilesTogether(roomInTiles / wantedSlots);
    const std::uint32_t runs = (tiles.columns() + together - 1) / together;
    OrderedWork work;
    work.items = std::size_t{tiles.rows()} * runs;
    work.slots = std::clamp<std::size_t>(roomInTiles / together, 1, wantedSlots);
    std::vector<std::vector<std::uint16_t>> buffers(work.slots);
    std::vector<LayerTiles::Scratch> scratch(work.slots);
    const auto place = [&](std::size_t item) {
        const auto row = static_cast<std::uint32_t>(item / runs);
        const std::uint32_t column = static_cast<std::uint32_t>(item % runs) * together;
        return std::tuple(row, column, std::min(together, tiles.columns() - column));
    };
    work.prepare = [&](std::size_t item, std::size_t slot) {
        const auto [row, column, count] = place(item);
        buffers[slot].resize(together * TiffWriter::tileSamples);
        tiles.read(row, column, count, buffers[slot].data(), scratch[slot]);
    };
    console::Progress progress("exporting " + name, work.items);
    work.take = [&](std::size_t item, std::size_t slot) {
        const auto [row, column, count] = place(item);
        for (std::uint32_t i = 0; i < count; ++i)
            writer.writeTile(band, row, column + i,
                             buffers[slot].data() + i * TiffWriter::tileSamples);
        progress.advanceTo(item + 1);
    };
    run(work);
}

void addOverviews(TiffWriter& writer, bool phase) {
    console::Progress progress("making overviews", 100);
    const auto kind = phase ? kimg::TiffOverviews::nearest : kimg::TiffOverviews::meanPower;
    writer.addOverviews(kind, [&](double done) {
        progress.advanceTo(static_cast<std::uint64_t>(100 * done));
        return !interruption::requested();
    });
    interruption::check();
}

void exportLayers(const ExportOptions& options) {
    refuseOverwriting(options.output, options.force);
    const loader::Product opened(loader::Plugin::instance(), product::findProduct(options.file));
    const auto layers = openLayers(opened, options.layers);
    requireEqual(layers);
    const product::Window window = windowOf(options, layers.front());
    const kimg::TiffLayout layout = layoutOf(options, layers, window);
    const std::size_t memory = options.maxMemoryMiB << 20;
    kimg::limitBlockCache(memory / 4);

    interruption::watch();
    TiffWriter writer(options.output, layout);
    for (std::uint32_t band = 0; band < layers.size(); ++band)
        copyBand(LayerTiles(layers[band], window, TiffWriter::tileSize), layers[band].name(), band,
                 memory / 2, writer);
    if (options.overviews)
        addOverviews(writer, isPhase(layers.front()));
    writer.finish();
}

} // namespace

void addExport(CLI::App& app) {
    auto* verb = app.add_subcommand("export", description);
    verb->footer(footer);
    auto options = std::make_shared<ExportOptions>();
    verb->add_option("FILE", options->file, "product")->required();
    verb->add_option("--layer", options->layers,
                     "layer name, as info lists it; may be repeated (default: the first)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb->add_option("-o,--output", options->output, "GeoTIFF to write")->required();
    verb->add_option("--window", options->window, "X,Y,W,H in pixels (default: whole layers)")
        ->delimiter(',')
        ->expected(4);
    static const std::map<std::string, kimg::TiffCompression> compressions = {
        {"none", kimg::TiffCompression::none},
        {"deflate", kimg::TiffCompression::deflate},
        {"lzw", kimg::TiffCompression::lzw},
        {"zstd", kimg::TiffCompression::zstd}};
    verb->add_option("--compress", options->compression, "none, deflate, lzw or zstd")
        ->transform(CLI::CheckedTransformer(compressions))
        ->default_str("none");
    verb->add_flag("--overviews", options->overviews,
                   "add reduced images: magnitudes averaged in power, phases picked");
    verb->add_option("--max-memory", options->maxMemoryMiB, "MiB for pixels under way")
        ->check(CLI::Range(16U, 1U << 20))
        ->capture_default_str();
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { exportLayers(*options); });
}
