#include "console.h"
#include "interruption.h"
#include "kimg/geocoder.h"
#include "output_file.h"
#include "product/find_product.h"
#include "raster_tiles.h"
#include "verbs.h"

#include <limits>

namespace {

constexpr char description[] = "write a layer as a map in any coordinate system (GeoTIFF)";
constexpr char footer[] =
    "Heights are metres above the WGS 84 ellipsoid: those of --dem as they are, else the height\n"
    "that the product states for its scene. Phases cannot be averaged: they take the nearest.\n"
    "Outside the image stands 0, in phases -32768, in calibrated layers not-a-number.";

struct GeocodeVerb {
    std::string file;
    std::string layer; ///< empty: the product's first
    std::string output;
    std::string resampling; ///< empty: bilinear, phases nearest
    kimg::GeocodeOptions options;
    std::size_t maxMemoryMiB = 256;
    bool force = false;
};

void chooseResampling(GeocodeVerb& verb, const product::Raster& raster) {
    const bool phase = raster.type() == kimg::SampleType::int16;
    if (phase && !verb.resampling.empty() && verb.resampling != "nearest")
        throw loader::Error("layer " + raster.name() +
                            ": phases cannot be interpolated; use "
                            "--resampling nearest");
    verb.options.resampling = !verb.resampling.empty() ? verb.resampling
                              : phase                  ? "nearest"
                                                       : "bilinear";
    verb.options.noData = phase ? -32768
                          : raster.type() == kimg::SampleType::float32
                              ? std::numeric_limits<double>::quiet_NaN()
                              : 0;
}

void geocode(GeocodeVerb verb) {
    refuseOverwriting(verb.output, verb.force);
    const auto rasters = product::openRasters(
        loader::Product(loader::Plugin::instance(), product::findProduct(verb.file)),
        verb.layer.empty() ? std::vector<std::string>() : std::vector{verb.layer});
    const product::Raster& raster = *rasters.front();
    chooseResampling(verb, raster);
    const product::Window whole{0, 0, raster.width(), raster.height()};
    const auto placement = product::placementOf(raster.openGridLayer(), whole);
    if (!placement.remarks.empty())
        console::warning(placement.remarks);
    const auto& place = placement.place;
    if (place.wkt.empty() || (!place.geoTransform && place.gcps.empty()))
        throw loader::Error("layer " + raster.name() + ": nothing says where on the earth it lies");
    if (!verb.options.elevation.empty() && place.rpc.empty())
        console::warning("heights are ignored: the image's own georeferencing has none");
    verb.options.heightM = placement.sceneHeightM;
    verb.options.maxMemory = (verb.maxMemoryMiB << 20) / 2;
    kimg::limitBlockCache(verb.options.maxMemory / 2);

    const RasterTiles tiles(raster, whole, kimg::TiffWriter::tileSize);
    RasterTiles::Scratch scratch;
    const kimg::TileSource source{raster.width(),
                                  raster.height(),
                                  raster.type(),
                                  raster.name(),
                                  place,
                                  [&](std::uint32_t row, std::uint32_t column, void* samples) {
                                      tiles.read(row, column, 1, static_cast<std::byte*>(samples),
                                                 scratch);
                                  }};
    interruption::watch();
    console::Progress progress("geocoding " + raster.name(), 100);
    kimg::geocode(source, verb.output, verb.options, [&](double done) {
        progress.advanceTo(static_cast<std::uint64_t>(100 * done));
        return !interruption::requested();
    });
    interruption::check();
}

} // namespace

void addGeocode(CLI::App& app) {
    auto* command = app.add_subcommand("geocode", description);
    command->footer(footer);
    auto verb = std::make_shared<GeocodeVerb>();
    command->add_option("FILE", verb->file, "product")->required();
    command->add_option("--layer", verb->layer,
                        "layer name, or another that export takes (default: the first layer)");
    command->add_option("-o,--output", verb->output, "GeoTIFF to write")->required();
    command->add_option("--crs", verb->options.system, "coordinate system, such as EPSG:32633")
        ->required();
    command
        ->add_option("--resolution", verb->options.resolution,
                     "size of a pixel in units of the system (default: as the image has it)")
        ->check(CLI::PositiveNumber);
    command->add_option("--dem", verb->options.elevation,
                        "elevation model: GeoTIFF, SRTM, DTED or ASCII grid");
    command->add_option("--resampling", verb->resampling, "nearest, bilinear or cubic")
        ->check(CLI::IsMember({"nearest", "bilinear", "cubic"}));
    command->add_flag("--cog", verb->options.cloudOptimized,
                      "write a cloud optimized GeoTIFF, with overviews");
    command->add_option("--max-memory", verb->maxMemoryMiB, "MiB for pixels under way")
        ->check(CLI::Range(16U, 1U << 20))
        ->capture_default_str();
    command->add_flag("--force", verb->force, "replace an existing file");
    command->callback([verb] { geocode(*verb); });
}
