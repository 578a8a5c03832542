// SPDX-License-Identifier: MIT
#include "kimg/tiff_writer.h"
#include "loader/heard.h"
#include "output/console.h"
#include "output/interruption.h"
#include "output/output_file.h"
#include "output/tile_work.h"
#include "product/place/map_frame.h"
#include "product/place/terrain_nodes.h"
#include "terrain/flattened_tiles.h"
#include "terrain/rtc_metadata.h"
#include "terrain/terrain_strips.h"
#include "verbs/elevation_options.h"
#include "verbs/kept_options.h"
#include "verbs/numbers.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <limits>
#include <optional>
#include <unistd.h>

namespace {

using kimg::TiffWriter;

constexpr char description[] =
    "write terrain-flattened gamma nought (radiometric terrain correction) as a GeoTIFF";
constexpr char footer[] =
    "Bands: GAMMA_NOUGHT_RTC_<pole> for every polarization, MASK (sum of 1 valid, 2 layover,\n"
    "4 shadow, 8 outside), LOCAL_INCIDENCE_ANGLE (degrees), SCATTERING_AREA (the ground's area as\n"
    "the antenna sees it, of the pixel's slant-plane area) and GAMMA_TO_SIGMA_RATIO. Elsewhere "
    "than\n"
    "in valid pixels stands not-a-number. While it works, a file beside the output holds 12 bytes\n"
    "for every pixel of the image.\n"
    "\n"
    "Examples:\n"
    "  rfsar rtc product.xml --dem dem.tif --crs EPSG:32632 --resolution 20 -o rtc.tif\n"
    "  rfsar rtc product.xml --dem dem.tif --radar-geometry --db -o radar.tif";

const std::map<std::string, Resampling> methods = {{"nearest", Resampling::nearest},
                                                   {"bilinear", Resampling::bilinear},
                                                   {"cubic", Resampling::cubic}};

struct RtcVerb {
    std::string file, output;
    product::MapRequest request;
    bool radarGeometry = false;
    Resampling resampling = Resampling::bilinear;
    bool inDb = false, noiseRemoved = false, stac = false;
    bool cloudOptimized = false, requireCoverage = false, force = false;
    std::size_t maxMemoryMiB = 512;

    std::size_t memory() const { return maxMemoryMiB << 20; }
};

std::string stacName(const RtcVerb& verb) {
    return verb.output + ".json";
}

/// The product, its images as beta nought, and where they lie.
struct Scene {
    explicit Scene(const RtcVerb& verb)
        : opened(product::openProduct(verb.file)), file(opened->name()) {
        requireModel();
        images = product::openBetaNought(opened, verb.noiseRemoved);
        for (const product::BetaNought& image : images)
            if (image.power->width() != width() || image.power->height() != height())
                throw loader::Error(file + ": its images are of different sizes");
        const sarm::ImageSize size = model().imageSize();
        if (size.samples != static_cast<int>(width()) || size.lines != static_cast<int>(height()))
            throw loader::Error(file + ": its images have another size than its metadata state");
    }

    std::uint32_t width() const { return images.front().power->width(); }
    std::uint32_t height() const { return images.front().power->height(); }
    const sarm::SensorModel& model() const { return *place->transform->sensorModel(); }

    std::shared_ptr<const product::OpenedProduct> opened;
    std::string file;
    std::shared_ptr<const product::Place> place;
    std::vector<product::BetaNought> images;

private:
    void requireModel() {
        if (opened->hasBursts())
            throw loader::Error(file + ": its images are bursts; terrain flattening takes whole "
                                       "images only");
        const product::ProductImage* image = opened->firstImage();
        if (!image)
            throw loader::Error(opened->images().empty() ? file + ": has no images"
                                                         : opened->images().front().fault());
        place = std::make_shared<const product::Place>(
            product::placeOf(*opened, opened->layerOf(*image), image->samples()->width(),
                             image->samples()->height()));
        const bool isMap = place->source == product::PlaceSource::map;
        if (place->source != product::PlaceSource::model)
            throw loader::Error(
                file +
                (isMap ? ": is a map already; terrain can only be flattened in an image in "
                         "the radar's own grid"
                       : ": has no sensor model, which terrain flattening needs") +
                (place->remarks.empty() ? "" : " (" + place->remarks + ")"));
        if (!dynamic_cast<const sarm::Model*>(&model()))
            throw loader::Error(file +
                                ": is in polar format, whose lines are not at one time each; "
                                "terrain flattening is made for zero-Doppler images only");
    }
};

/// A file that must not stay.
struct Passing {
    std::string name;
    ~Passing() { std::remove(name.c_str()); }
};

std::unique_ptr<kimg::ElevationModel> openElevation(const kimg::ElevationSource& source) {
    kerr::Slot slot;
    auto elevation = kimg::ElevationModel::open(source, slot);
    if (!elevation)
        throw loader::Error(loader::Heard::text(*slot.get()));
    if (!elevation->remarks().empty())
        console::warning(elevation->remarks());
    return elevation;
}

void tellCoverage(double share, bool required) {
    constexpr double nearlyAll = 0.99;
    const std::string text = "the elevation model covers " +
                             std::to_string(static_cast<int>(100 * share)) + " % of the image";
    if (share >= nearlyAll)
        return console::note(text);
    if (required || share == 0)
        throw loader::Error(text + (required ? ", and --require-dem asks for all of it" : ""));
    console::warning(text + "; the rest is masked as outside");
}

kimg::Georeferencing placeInRadarGrid(const Scene& scene) {
    const product::Window whole{0, 0, scene.width(), scene.height()};
    kimg::Georeferencing place = product::placementOf(*scene.place, whole);
    std::string remark;
    place.rpc = product::publishedRpc(*scene.opened, *scene.place, whole, remark);
    if (!remark.empty())
        console::warning(remark);
    return place;
}

/// @param positions  null in the radar's own grid.
void drawTiles(const RtcVerb& verb, const Scene& scene, const AreaFile& areas,
               const product::MapPositions* positions, const product::MapFrame& frame,
               TiffWriter& writer) {
    constexpr std::uint32_t side = TiffWriter::tileSize;
    constexpr std::uint32_t linesTogether = 64; // of a tile, to hold few positions at a time
    const std::size_t bandCount = scene.images.size() + 4;
    const std::size_t perSlot =
        (bandCount * sizeof(float)) * TiffWriter::tileSamples +
        (8 * sizeof(KxfrPixel) + bandCount * sizeof(float)) * side * linesTogether;
    TileWork work;
    work.slots = std::clamp<std::size_t>(verb.memory() / 4 / perSlot, 1, machineThreads() + 2);
    // Tiles take a quarter and GDAL's blocks an eighth; the last quarter is for the program itself.
    const std::size_t forImages = verb.memory() / 8 * 3;
    const FlattenedTiles tiles(areas, scene.images,
                               positions ? verb.resampling : Resampling::nearest, frame.reduction,
                               verb.inDb, forImages, work.slots);
    struct Slot {
        std::unique_ptr<product::MapPositions> positions;
        std::vector<KxfrPixel> pixels;
        std::vector<std::vector<float>> tile;
        FlattenedTiles::Scratch scratch;
    };
    std::vector<Slot> slots(work.slots);
    work.title = positions ? "drawing the map" : "flattening";
    work.width = frame.width;
    work.height = frame.height;
    work.draw = [&](const product::Window& tile, std::size_t number) {
        Slot& slot = slots[number];
        if (positions && !slot.positions)
            slot.positions = std::make_unique<product::MapPositions>(*positions);
        slot.tile.resize(bandCount);
        for (std::vector<float>& band : slot.tile)
            band.resize(TiffWriter::tileSamples);
        for (std::uint32_t line = 0; line < tile.height; line += linesTogether) {
            const product::Window part{tile.x, tile.y + line, tile.width,
                                       std::min(linesTogether, tile.height - line)};
            if (positions) {
                slot.positions->find(frame, part, slot.pixels);
            } else {
                slot.pixels.clear();
                for (std::uint32_t y = 0; y < part.height; ++y)
                    for (std::uint32_t x = 0; x < part.width; ++x)
                        slot.pixels.push_back({double(part.x) + x, double(part.y) + y});
            }
            std::vector<float*> bands;
            for (std::vector<float>& band : slot.tile)
                bands.push_back(band.data() + std::size_t{side} * line);
            tiles.draw(slot.pixels.data(), part.width, part.height, bands, side, slot.scratch);
        }
    };
    work.take = [&](std::uint32_t row, std::uint32_t column, std::size_t number) {
        for (std::size_t band = 0; band < bandCount; ++band)
            writer.writeTile(static_cast<std::uint32_t>(band), row, column,
                             slots[number].tile[band].data());
    };
    run(work);
}

void optimize(const std::string& from, const std::string& output) {
    console::Progress progress("making a cloud optimized GeoTIFF", 100);
    // The mask has no mean, and one way serves all bands.
    kimg::writeCloudOptimized(from, output, kimg::TiffOverviews::nearest, [&](double done) {
        progress.advanceTo(static_cast<std::uint64_t>(100 * done));
        return !interruption::requested();
    });
    interruption::check();
}

void writeStac(const RtcVerb& verb, const Scene& scene, const std::vector<kimg::TiffBand>& bands,
               const MetadataItems& metadata, const RtcAccount& account) {
    std::vector<std::string> warnings;
    const auto item = rtcStacItem(scene.file, verb.output, bands, metadata, account, warnings);
    for (const std::string& warning : warnings)
        console::warning(warning);
    OutputFile file(stacName(verb), verb.force);
    const std::string text =
        item.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
    file.write(text.data(), text.size());
    file.commit();
}

std::string resamplingName(Resampling method) {
    for (const auto& [name, each] : methods)
        if (each == method)
            return name;
    return "";
}

/// @return the share of the image that the elevation model covers; the areas are in the file.
double shareOfTerrain(const Scene& scene, const kimg::ElevationModel& elevation, AreaFile& areas,
                      std::size_t memory) {
    try {
        product::TerrainNodes nodes(elevation, scene.model(), memory / 8);
        return projectTerrain(scene.model(), nodes, areas, memory / 2);
    } catch (const loader::Error&) {
        throw;
    } catch (const std::runtime_error& error) { // of the model, which knows no product
        throw loader::Error(scene.opened->name() + ": " + error.what());
    }
}

void flatten(const RtcVerb& verb) {
    kimg::limitBlockCache(verb.memory() / 8);
    refuseOverwriting(verb.output, verb.force);
    if (verb.stac)
        refuseOverwriting(stacName(verb), verb.force);
    const Scene scene(verb);
    refuseOwnFiles(verb.output, scene.opened->stated());
    if (verb.stac)
        refuseOwnFiles(stacName(verb), scene.opened->stated());
    if (!scene.place->remarks.empty())
        console::warning(scene.place->remarks);
    const auto elevation = openElevation(verb.request.elevation);
    std::optional<product::MapPositions> positions;
    product::MapFrame frame;
    frame.width = scene.width();
    frame.height = scene.height();
    if (!verb.radarGeometry) {
        positions.emplace(scene.place, scene.width(), scene.height(), verb.request);
        frame = positions->frameOf();
    }
    interruption::watch();

    AreaFile areas(verb.output, scene.width(), scene.height());
    {
        const double share = shareOfTerrain(scene, *elevation, areas, verb.memory());
        tellCoverage(share, verb.requireCoverage);
    }
    const RtcAccount account{verb.request.elevation.paths,
                             verb.request.elevation.heights,
                             resamplingName(verb.resampling),
                             verb.noiseRemoved,
                             verb.inDb,
                             verb.radarGeometry ? nullptr : &frame};
    const MetadataItems metadata =
        rtcMetadata(*scene.opened, product::Locator(scene.place), scene.images, account);
    kimg::Georeferencing place{frame.geoTransform(), {}, frame.wkt, {}};
    if (verb.radarGeometry)
        place = placeInRadarGrid(scene);
    const auto bands = FlattenedTiles::bandsOf(scene.images, verb.inDb);

    const Passing unordered{verb.cloudOptimized ? verb.output + ".part" + std::to_string(getpid())
                                                : ""};
    const std::string& file = verb.cloudOptimized ? unordered.name : verb.output;
    TiffWriter writer(file, {frame.width, frame.height, kimg::SampleType::float32,
                             kimg::TiffCompression::none, bands, std::move(place),
                             std::numeric_limits<double>::quiet_NaN(), metadata});
    drawTiles(verb, scene, areas, positions ? &*positions : nullptr, frame, writer);
    writer.finish();
    if (verb.cloudOptimized)
        optimize(file, verb.output);
    if (verb.stac)
        writeStac(verb, scene, bands, metadata, account);
}

} // namespace

void addRtc(CLI::App& app) {
    auto* command = app.add_subcommand("rtc", description);
    command->footer(footer);
    auto verb = keptOptions<RtcVerb>(*command);
    command->add_option("FILE", verb->file, "product")->required();
    command->add_option("-o,--output", verb->output, "GeoTIFF to write")->required();
    addElevation(*command, verb->request.elevation);
    command->get_option("--dem")->required();
    command->add_flag("--require-dem", verb->requireCoverage,
                      "fail when the elevation model does not cover the image");
    auto* system = command->add_option("--crs", verb->request.system,
                                       "coordinate system of the map, such as EPSG:32633");
    auto* resolution =
        command
            ->add_option("--resolution", verb->request.resolution,
                         "size of a pixel in units of the system (default: as at the image's "
                         "centre)")
            ->check(positiveNumber());
    auto* resampling = command
                           ->add_option("--resampling", verb->resampling,
                                        "nearest, bilinear or cubic (default: bilinear)")
                           ->transform(CLI::CheckedTransformer(methods).description(""))
                           ->type_name("METHOD");
    command
        ->add_flag("--radar-geometry", verb->radarGeometry,
                   "instead of a map: the image's own grid, with tie points and RPC")
        ->excludes(system)
        ->excludes(resolution)
        ->excludes(resampling);
    command->add_flag("--db", verb->inDb, "gamma nought in dB instead of linear power");
    command->add_flag("--denoise", verb->noiseRemoved,
                      "take away the noise level that the product states; what falls below 0 stays "
                      "(not a number in dB)");
    command->add_flag("--stac", verb->stac, "also write a STAC item, <output>.json");
    command->add_flag("--cog", verb->cloudOptimized,
                      "write a cloud optimized GeoTIFF, with overviews");
    command->add_option("--max-memory", verb->maxMemoryMiB, "MiB for pixels under way")
        ->check(CLI::Range(64U, 1U << 20))
        ->capture_default_str();
    command->add_flag("--force", verb->force, "replace an existing file");
    command->callback([verb] {
        if (!verb->radarGeometry && verb->request.system.empty())
            throw CLI::ValidationError("--crs or --radar-geometry", "is required");
        flatten(*verb);
    });
}
