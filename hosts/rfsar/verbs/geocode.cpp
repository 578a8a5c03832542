// SPDX-License-Identifier: MIT
#include "kimg/new_file.h"
#include "kimg/tiff_writer.h"
#include "output/console.h"
#include "output/interruption.h"
#include "output/ordered_work.h"
#include "output/origin_metadata.h"
#include "output/output_file.h"
#include "output/overviews.h"
#include "output/resampler.h"
#include "product/place/map_frame.h"
#include "product/radiometry/power.h"
#include "verbs/elevation_options.h"
#include "verbs/kept_options.h"
#include "verbs/numbers.h"
#include "verbs/treatment_options.h"
#include "verbs/verbs.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <optional>

namespace {

using kimg::TiffWriter;

constexpr char description[] = "write layers as a map in any coordinate system (GeoTIFF)";
constexpr char footer[] =
    "Heights come from --dem: a file, a folder or a virtual mosaic (VRT); it may be repeated.\n"
    "Without it, the height that the product states for its scene is used everywhere. The model's\n"
    "file states the reference of its heights; --dem-heights overrides it: ellipsoid, egm96\n"
    "(SRTM), egm2008 (Copernicus), or a file of geoid heights (GTX, GeoTIFF).\n"
    "\n"
    "Phases cannot be averaged: each pixel takes the nearest sample. Decibels are averaged in\n"
    "power. Several layers become bands of one file; they must have one size and type. Outside\n"
    "the image the value is 0, in phases -32768, in calibrated layers not-a-number.\n"
    "\n"
    "Examples:\n"
    "  rfsar geocode product.xml --crs EPSG:32632 -o map.tif\n"
    "  rfsar geocode product.xml --layer SIGMA_NOUGHT --db --crs EPSG:32632 --dem dem.tif -o "
    "db.tif";

struct GeocodeVerb {
    std::string file;
    std::vector<std::string> layers; ///< empty: the product's first
    product::Treatment treatment;
    std::string output;
    std::optional<Resampling> resampling; ///< none: bilinear, phases nearest
    product::MapRequest request;
    bool cloudOptimized = false;
    bool requireCoverage = false;
    std::size_t maxMemoryMiB = 256;
    bool force = false;
};

/// The raster to draw: decibels are drawn as power, so that neighbours are averaged in power.
struct Band {
    Band(const std::shared_ptr<const product::OpenedProduct>& opened, const product::Entry& entry)
        : inDecibels(entry.decibels), name(entry.name),
          raster(inDecibels ? openPower(opened, entry) : openRaster(opened, entry)) {}

    std::string unit() const { return inDecibels ? "dB" : raster->unit(); }

    bool inDecibels;
    std::string name;
    std::unique_ptr<product::Raster> raster;
};

std::vector<Band> openBands(const GeocodeVerb& verb) {
    const auto opened = product::openProduct(verb.file);
    std::vector<Band> bands;
    for (const product::Entry& entry : product::entriesOf(*opened, verb.layers, verb.treatment)) {
        const product::Raster& made = *bands.emplace_back(opened, entry).raster;
        const product::Raster& first = *bands.front().raster;
        if (made.width() != first.width() || made.height() != first.height() ||
            made.type() != first.type())
            throw loader::Error("layers " + bands.front().name + " and " + entry.name +
                                " differ in size or type and do not fit into one file: geocode "
                                "them on their own");
    }
    return bands;
}

bool isPhase(const product::Raster& raster) {
    return raster.type() == kimg::SampleType::int16;
}

Resampling resamplingOf(const GeocodeVerb& verb, const product::Raster& raster) {
    const Resampling usual = isPhase(raster) ? Resampling::nearest : Resampling::bilinear;
    const Resampling chosen = verb.resampling.value_or(usual);
    if (isPhase(raster) && chosen != Resampling::nearest)
        throw loader::Error("layer " + raster.name() +
                            ": phases cannot be interpolated; use --resampling nearest");
    return chosen;
}

double noDataOf(const product::Raster& raster) {
    if (isPhase(raster))
        return std::numeric_limits<std::int16_t>::min();
    return raster.type() == kimg::SampleType::float32 ? std::numeric_limits<double>::quiet_NaN()
                                                      : 0;
}

/// A band's way onto the map.
struct Source {
    Source(const GeocodeVerb& verb, const Band& of, double reduction, std::size_t memory,
           std::size_t slots)
        : band(of), cache(*of.raster, memory / 3 * 2),
          resampler(*of.raster, cache, resamplingOf(verb, *of.raster), reduction,
                    noDataOf(*of.raster), memory / 3 / slots) {}

    void draw(const std::vector<KxfrPixel>& pixels, const product::Window& part, std::byte* to,
              std::size_t stride, Resampler::Scratch& scratch) const {
        resampler.draw({pixels.data(), to, part.width, part.height, part.width, stride}, scratch);
        if (!band.inDecibels)
            return;
        auto* values = reinterpret_cast<float*>(to);
        for (std::uint32_t line = 0; line < part.height; ++line)
            std::transform(values + line * stride, values + line * stride + part.width,
                           values + line * stride, product::decibelsOf);
    }

    const Band& band;
    BlockCache cache;
    Resampler resampler;
};

/// Tiles are computed on all cores and written in order.
void drawMap(const GeocodeVerb& verb, const std::vector<Band>& bands,
             const product::MapPositions& positions, const product::MapFrame& frame,
             TiffWriter& writer) {
    constexpr std::uint32_t side = TiffWriter::tileSize;
    constexpr std::size_t samples = TiffWriter::tileSamples;
    const std::size_t memory = verb.maxMemoryMiB << 20;
    constexpr std::uint32_t linesTogether = 64; // of a tile, to hold few positions at a time
    constexpr std::size_t heightsUnderWay = std::size_t{8} << 20;
    const std::size_t tileBytes = samples * bands.front().raster->sampleBytes();
    const std::size_t perSlot = 8 * sizeof(KxfrPixel) * side * linesTogether +
                                (1 + bands.size()) * tileBytes +
                                (positions.elevation() ? heightsUnderWay : 0);
    OrderedWork work;
    work.slots = std::clamp<std::size_t>(memory / 4 / perSlot, 1, machineThreads() + 2);
    std::deque<Source> sources;
    for (const Band& band : bands)
        sources.emplace_back(verb, band, frame.reduction, memory / 4 * 3 / bands.size(),
                             work.slots);
    struct Slot {
        std::unique_ptr<product::MapPositions> positions;
        std::vector<KxfrPixel> pixels;
        std::vector<std::byte> tiles; ///< one a band
        Resampler::Scratch scratch;
    };
    std::vector<Slot> slots(work.slots);
    const std::uint32_t columns = (frame.width + side - 1) / side;
    work.items = std::size_t{columns} * ((frame.height + side - 1) / side);
    const auto row = [&](std::size_t item) { return static_cast<std::uint32_t>(item / columns); };
    const auto column = [&](std::size_t item) {
        return static_cast<std::uint32_t>(item % columns);
    };
    work.prepare = [&](std::size_t item, std::size_t number) {
        Slot& slot = slots[number];
        if (!slot.positions)
            slot.positions = std::make_unique<product::MapPositions>(positions);
        slot.tiles.resize(tileBytes * bands.size());
        const std::uint32_t x = column(item) * side, y = row(item) * side;
        const std::uint32_t width = std::min(side, frame.width - x);
        const std::uint32_t height = std::min(side, frame.height - y);
        for (std::uint32_t line = 0; line < height; line += linesTogether) {
            const product::Window part{x, y + line, width, std::min(linesTogether, height - line)};
            slot.positions->find(frame, part, slot.pixels);
            for (std::size_t band = 0; band < bands.size(); ++band)
                sources[band].draw(slot.pixels, part,
                                   slot.tiles.data() + tileBytes * band + tileBytes / side * line,
                                   side, slot.scratch);
        }
    };
    console::Progress progress("geocoding " + bands.front().name, work.items);
    work.take = [&](std::size_t item, std::size_t number) {
        for (std::size_t band = 0; band < bands.size(); ++band)
            writer.writeTile(static_cast<std::uint32_t>(band), row(item), column(item),
                             slots[number].tiles.data() + tileBytes * band);
        progress.advanceTo(item + 1);
    };
    run(work);
}

void optimize(const std::string& from, const std::string& output, const product::Raster& raster) {
    console::Progress progress("making a cloud optimized GeoTIFF", 100);
    kimg::writeCloudOptimized(from, output, overviewsOf(raster), [&](double done) {
        progress.advanceTo(static_cast<std::uint64_t>(100 * done));
        return !interruption::requested();
    });
    interruption::check();
}

/// Reports how the elevation model's heights are taken, and how much of the image it covers.
void tellElevation(const product::MapPositions& positions, bool required) {
    if (!positions.elevation())
        return;
    if (const std::string& remark = positions.elevation()->remarks(); !remark.empty())
        console::warning(remark);
    constexpr double nearlyAll = 0.99;
    const double share = positions.coverage();
    const std::string text = "the elevation model covers " +
                             std::to_string(static_cast<int>(100 * share)) + " % of the image";
    if (share >= nearlyAll)
        return console::note(text);
    if (required)
        throw loader::Error(text + ", and --require-dem asks for all of it");
    console::warning(text + "; the rest of the map stays empty");
}

void geocode(const GeocodeVerb& verb) {
    refuseOverwriting(verb.output, verb.force);
    const std::vector<Band> bands = openBands(verb);
    const product::Raster& raster = *bands.front().raster;
    refuseOwnFiles(verb.output, raster.opened().stated());
    resamplingOf(verb, raster); // refuses at once what would be refused later
    const product::MapPositions positions(
        std::make_shared<const product::Place>(raster.findPlace()), raster.width(), raster.height(),
        verb.request);
    if (!positions.locator().remarks().empty())
        console::warning(positions.locator().remarks());
    if (!verb.request.elevation.paths.empty() && !positions.locator().usesHeight())
        console::warning("heights are ignored: what places the image has none");
    const product::MapFrame frame = positions.frameOf();
    tellElevation(positions, verb.requireCoverage);
    kimg::limitBlockCache((verb.maxMemoryMiB << 20) / 4);

    interruption::watch();
    std::optional<kimg::NewFile> unordered; // never put in place; what a killed run left is removed
    if (verb.cloudOptimized)
        unordered.emplace(verb.output);
    const std::string& file = unordered ? unordered->temporaryPath() : verb.output;
    kimg::TiffLayout layout{frame.width,
                            frame.height,
                            raster.type(),
                            kimg::TiffCompression::none,
                            {},
                            {frame.geoTransform(), {}, frame.wkt, {}},
                            noDataOf(raster),
                            {}};
    for (const Band& band : bands)
        layout.bands.push_back({band.name, band.unit()});
    layout.metadata = originMetadata(raster.opened(), layout.bands, verb.treatment.denoised);
    TiffWriter writer(file, layout);
    drawMap(verb, bands, positions, frame, writer);
    const bool anyDecibels = std::any_of(bands.begin(), bands.end(),
                                         [](const Band& band) { return band.inDecibels; });
    if (verb.cloudOptimized && anyDecibels) // which the last step would not average
        addOverviews(writer, raster);
    writer.finish();
    if (verb.cloudOptimized)
        optimize(file, verb.output, raster);
}

} // namespace

void addGeocode(CLI::App& app) {
    auto* command = app.add_subcommand("geocode", description);
    command->footer(footer);
    auto verb = keptOptions<GeocodeVerb>(*command);
    command->add_option("FILE", verb->file, "product")->required();
    command
        ->add_option("--layer", verb->layers,
                     "layer name, or another that export takes; may be repeated (default: the "
                     "first layer)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    addTreatment(*command, verb->treatment);
    command->add_option("-o,--output", verb->output, "GeoTIFF to write")->required();
    command->add_option("--crs", verb->request.system, "coordinate system, such as EPSG:32633")
        ->required();
    command
        ->add_option("--resolution", verb->request.resolution,
                     "pixel size in units of the system (default: as at the image's centre)")
        ->check(positiveNumber());
    addElevation(*command, verb->request.elevation);
    command->add_flag("--require-dem", verb->requireCoverage,
                      "fail when the elevation model does not cover the image");
    static const std::map<std::string, Resampling> methods = {{"nearest", Resampling::nearest},
                                                              {"bilinear", Resampling::bilinear},
                                                              {"cubic", Resampling::cubic}};
    command
        ->add_option("--resampling", verb->resampling,
                     "nearest, bilinear or cubic (default: bilinear)")
        ->transform(CLI::CheckedTransformer(methods).description(""))
        ->type_name("METHOD");
    command->add_flag("--cog", verb->cloudOptimized,
                      "write a cloud optimized GeoTIFF, with overviews");
    command->add_option("--max-memory", verb->maxMemoryMiB, "memory for pixels, in MiB")
        ->check(CLI::Range(16U, 1U << 20))
        ->capture_default_str();
    command->add_flag("--force", verb->force, "replace an existing file");
    command->callback([verb] { geocode(*verb); });
}
