// SPDX-License-Identifier: MIT
#include "kimg/tiff_writer.h"
#include "output/console.h"
#include "output/interruption.h"
#include "output/ordered_work.h"
#include "output/origin_metadata.h"
#include "output/output_file.h"
#include "output/overviews.h"
#include "output/raster_tiles.h"
#include "verbs/kept_options.h"
#include "verbs/treatment_options.h"
#include "verbs/verbs.h"

#include <algorithm>
#include <future>
#include <map>
#include <optional>

namespace {

using kimg::TiffWriter;

constexpr char description[] = "write layers as a georeferenced GeoTIFF";
constexpr char footer[] =
    "--layer takes a layer, or a name that info lists as \"export also\": calibrated power\n"
    "(SIGMA_NOUGHT_HH, in decibels SIGMA_NOUGHT_DB_HH, ...), complex samples, noise levels,\n"
    "incidence angles. A name without polarization (SIGMA_NOUGHT) means all polarizations.\n"
    "Several layers become bands of one file; they must have one size and type. Images in radar\n"
    "geometry get tie points (GCPs) and, where they fit the sensor model to 0.1 pixel, rational\n"
    "functions (RPC) with their error; maps get their geotransform.\n"
    "\n"
    "Calibrated power is (sample^2 + offset) / gain for detected samples and |sample|^2 / gain^2\n"
    "for complex ones, with the gain of the sample's column. Where the product states a scale\n"
    "factor, it is |sample|^2 * scale^2.\n"
    "\n"
    "Examples:\n"
    "  rfsar export product.xml -o image.tif --overviews\n"
    "  rfsar export product.xml --layer SIGMA_NOUGHT_HH --db -o sigma.tif";

struct ExportOptions {
    std::string file;
    std::vector<std::string> layers;   ///< empty: the product's first
    std::vector<std::uint32_t> window; ///< x, y, width, height; empty for whole layers
    product::Treatment treatment;
    std::string output;
    kimg::TiffCompression compression = kimg::TiffCompression::none;
    bool overviews = false;
    std::size_t maxMemoryMiB = 256;
    bool force = false;
};

using Rasters = std::vector<std::unique_ptr<product::Raster>>;

/// Bands of one file must have one size and type.
void requireEqual(const Rasters& rasters) {
    const auto describe = [](const product::Raster& raster) {
        const auto what = raster.quantity();
        using Quantity = product::Raster::Quantity;
        return raster.name() + " (" + std::to_string(raster.width()) + " x " +
               std::to_string(raster.height()) + ", " +
               (what == Quantity::phase            ? "phase"
                : what == Quantity::magnitude      ? "magnitude"
                : what == Quantity::complexSamples ? "complex"
                                                   : "values") +
               ")";
    };
    const product::Raster& first = *rasters.front();
    for (const auto& raster : rasters)
        if (raster->width() != first.width() || raster->height() != first.height() ||
            raster->type() != first.type())
            throw loader::Error("layers " + describe(first) + " and " + describe(*raster) +
                                " do not fit into one file: choose with --layer those of one size "
                                "and type, and export the others on their own");
}

product::Window windowOf(const ExportOptions& options, const product::Raster& raster) {
    if (options.window.empty())
        return {0, 0, raster.width(), raster.height()};
    const auto& w = options.window;
    const product::Window window{w[0], w[1], w[2], w[3]};
    raster.requireInside(window);
    return window;
}

/// The file's georeferencing, and remarks on it for the user.
struct Placed {
    kimg::Georeferencing place;
    std::vector<std::string> remarks;
};

Placed placeWindow(const product::Raster& raster, const product::Window& window) {
    const product::Place found = raster.findPlace();
    Placed placed{product::placementOf(found, window), {}};
    std::string remark;
    placed.place.rpc = product::publishedRpc(raster.opened(), found, window, remark);
    for (const std::string& each : {found.remarks, remark})
        if (!each.empty())
            placed.remarks.push_back(each);
    return placed;
}

kimg::TiffLayout layoutOf(const ExportOptions& options, const Rasters& rasters,
                          const product::Window& window, Placed placed) {
    const product::Raster& first = *rasters.front();
    for (const std::string& remark : placed.remarks)
        console::warning(remark);
    if (!placed.place.geoTransform && placed.place.gcps.empty())
        console::warning("layer " + first.name() + ": nothing says where it lies");
    kimg::TiffLayout layout{
        window.width, window.height,           first.type(), options.compression,
        {},           std::move(placed.place), std::nullopt, {}};
    for (const auto& raster : rasters)
        layout.bands.push_back({raster->name(), raster->unit()});
    layout.metadata = originMetadata(first.opened(), layout.bands, options.treatment.denoised);
    return layout;
}

/// Reads and converts on all cores while tiles are written in order.
/// @param writer  called at the first tile, while others are being read already.
void copyBand(const RasterTiles& tiles, const std::string& name, std::uint32_t band,
              std::size_t memory, const std::function<TiffWriter&()>& writer) {
    const std::size_t roomInTiles = memory / tiles.tileBytes();
    const std::size_t wantedSlots = 2 * machineThreads() + 1;
    const std::uint32_t together = tiles.tilesTogether(roomInTiles / wantedSlots);
    const std::uint32_t runs = (tiles.columns() + together - 1) / together;
    OrderedWork work;
    work.items = std::size_t{tiles.rows()} * runs;
    work.slots = std::clamp<std::size_t>(roomInTiles / together, 1, wantedSlots);
    std::vector<std::vector<std::byte>> buffers(work.slots);
    const auto place = [&](std::size_t item) {
        const auto row = static_cast<std::uint32_t>(item / runs);
        const std::uint32_t column = static_cast<std::uint32_t>(item % runs) * together;
        return std::tuple(row, column, std::min(together, tiles.columns() - column));
    };
    work.prepare = [&](std::size_t item, std::size_t slot) {
        const auto [row, column, count] = place(item);
        buffers[slot].resize(together * tiles.tileBytes());
        thread_local RasterTiles::Scratch scratch; // may be large: a block of the image
        tiles.read(row, column, count, buffers[slot].data(), scratch);
    };
    console::Progress progress("exporting " + name, work.items);
    work.take = [&](std::size_t item, std::size_t slot) {
        const auto [row, column, count] = place(item);
        for (std::uint32_t i = 0; i < count; ++i)
            writer().writeTile(band, row, column + i, buffers[slot].data() + i * tiles.tileBytes());
        progress.advanceTo(item + 1);
    };
    run(work);
}

void exportLayers(const ExportOptions& options) {
    refuseOverwriting(options.output, options.force);
    const Rasters rasters =
        product::openRasters(product::openProduct(options.file), options.layers, options.treatment);
    refuseOwnFiles(options.output, rasters.front()->opened().stated());
    requireEqual(rasters);
    const product::Window window = windowOf(options, *rasters.front());
    // The georeferencing is computed while the first tiles are read.
    auto placed =
        std::async(std::launch::async, [&] { return placeWindow(*rasters.front(), window); });
    const std::size_t memory = options.maxMemoryMiB << 20;
    kimg::limitBlockCache(memory / 4);

    interruption::watch();
    std::optional<TiffWriter> opened;
    const auto writer = [&]() -> TiffWriter& {
        return opened ? *opened
                      : opened.emplace(options.output,
                                       layoutOf(options, rasters, window, placed.get()));
    };
    for (std::uint32_t band = 0; band < rasters.size(); ++band)
        copyBand(RasterTiles(*rasters[band], window, TiffWriter::tileSize), rasters[band]->name(),
                 band, memory / 2, writer);
    if (options.overviews)
        addOverviews(writer(), *rasters.front());
    writer().finish();
}

} // namespace

void addExport(CLI::App& app) {
    auto* verb = app.add_subcommand("export", description);
    verb->footer(footer);
    auto options = keptOptions<ExportOptions>(*verb);
    verb->add_option("FILE", options->file, "product")->required();
    verb->add_option("--layer", options->layers,
                     "layer name, as info lists it; may be repeated (default: the first)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    addTreatment(*verb, options->treatment);
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
        ->transform(CLI::CheckedTransformer(compressions).description(""))
        ->type_name("METHOD")
        ->default_str("none");
    verb->add_flag(
        "--overviews", options->overviews,
        "add reduced images: magnitudes and decibels averaged in power, phases and complex "
        "samples by nearest neighbour");
    verb->add_option("--max-memory", options->maxMemoryMiB, "memory for pixels, in MiB")
        ->check(CLI::Range(16U, 1U << 20))
        ->capture_default_str();
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { exportLayers(*options); });
}
