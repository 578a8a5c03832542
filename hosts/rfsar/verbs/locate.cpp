// SPDX-License-Identifier: MIT
#include "loader/heard.h"
#include "output/console.h"
#include "output/point_stream.h"
#include "product/images/raster.h"
#include "product/place/locator.h"
#include "verbs/elevation_options.h"
#include "verbs/numbers.h"
#include "verbs/verbs.h"

#include <cstdio>
#include <limits>
#include <optional>
#include <unistd.h>

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

constexpr char description[] = "convert pixels to ground positions, or ground positions to pixels";
constexpr char footer[] =
    "Reads \"sample line [height]\" from stdin, one point per line, and writes \"lon lat "
    "height\";\n"
    "with --inverse reads \"lon lat [height]\" and writes \"sample line\". (0, 0) is the centre "
    "of\n"
    "the first pixel; longitude and latitude are degrees on WGS 84. A point without a solution\n"
    "gives \"nan nan nan\" (\"nan nan\").\n"
    "\n"
    "Heights are metres above the WGS 84 ellipsoid. A point's own height is used first, then "
    "--dem,\n"
    "then --height, then the height that the product states for its scene. The elevation model's\n"
    "file states the reference of its heights, mostly a geoid (sea level, up to 110 m from the\n"
    "ellipsoid); --dem-heights overrides it: ellipsoid, egm96 (SRTM), egm2008 (Copernicus), or a\n"
    "file of geoid heights. Without a sensor model the image is placed by its RPC, its map\n"
    "projection or its tie points; heights do not matter for the last two.\n"
    "\n"
    "Examples:\n"
    "  rfsar locate product.xml <<< \"100 200\"\n"
    "  rfsar locate product.xml --inverse --dem dem.tif < points.txt";

struct LocateOptions {
    std::string file;
    std::string layer;
    bool inverse = false;
    std::optional<double> height;
    kimg::ElevationSource elevation;
};

/// Answers one batch after the other.
class Session {
public:
    Session(const LocateOptions& options, const product::Locator& locator)
        : locator_(locator), height_(options.height.value_or(locator.sceneHeightM())) {
        if (!locator.remarks().empty())
            console::warning(locator.remarks());
        if (!locator.usesHeight()) {
            if (options.height || !options.elevation.paths.empty())
                warnOfHeights();
            return;
        }
        if (options.elevation.paths.empty())
            return;
        kerr::Slot slot;
        elevation_ = kimg::ElevationModel::open(options.elevation, slot);
        if (!elevation_)
            throw loader::Error(loader::Heard::text(*slot.get()));
        if (!elevation_->remarks().empty())
            console::warning(elevation_->remarks());
    }

    void toGround(std::span<const PointLine> lines) {
        pixels_.clear();
        setGround(lines);
        for (const PointLine& line : lines)
            pixels_.push_back({line.values[0], line.values[1]});
        locator_.toGround(pixels_, ground_);
        if (elevation_)
            overTerrain(lines, [&](std::span<KxfrMapPoint> ground) {
                locator_.toTerrain(somePixels_, ground, *elevation_);
            });
        for (const KxfrMapPoint& point : ground_)
            appendLine(text_, {{point.x, point.y, std::isnan(point.x) ? none : point.heightM}});
        write();
    }

    void toImage(std::span<const PointLine> lines) {
        setGround(lines);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            ground_[i].x = lines[i].values[0];
            ground_[i].y = lines[i].values[1];
        }
        pixels_.resize(lines.size());
        if (elevation_)
            overTerrain(lines, [&](std::span<KxfrMapPoint> ground) {
                product::setHeights(ground, *elevation_);
            });
        locator_.toImage(ground_, pixels_);
        for (const KxfrPixel& pixel : pixels_)
            appendLine(text_, {{pixel.sample, pixel.line}});
        write();
    }

private:
    void setGround(std::span<const PointLine> lines) {
        ground_.clear();
        for (const PointLine& line : lines) {
            ground_.push_back({0, 0, line.count == 3 ? line.values[2] : height_});
            if (line.count == 3 && !locator_.usesHeight())
                warnOfHeights();
        }
    }

    /// Runs `work` on the points whose lines have no height.
    template <class Work>
    void overTerrain(std::span<const PointLine> lines, const Work& work) {
        somePixels_.clear();
        someGround_.clear();
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (lines[i].count < 3) {
                somePixels_.push_back(pixels_[i]);
                someGround_.push_back(ground_[i]);
            }
        work(someGround_);
        for (std::size_t i = 0, done = 0; i < lines.size(); ++i)
            if (lines[i].count < 3)
                ground_[i] = someGround_[done++];
    }

    void warnOfHeights() {
        if (!warned_)
            console::warning("heights are ignored: what places the image has none");
        warned_ = true;
    }

    void write() {
        if (std::fwrite(text_.data(), 1, text_.size(), stdout) != text_.size() ||
            std::fflush(stdout) != 0)
            throw loader::Error("standard output cannot be written");
        text_.clear();
    }

    const product::Locator& locator_;
    double height_;
    std::unique_ptr<kimg::ElevationModel> elevation_;
    bool warned_ = false;
    std::vector<KxfrPixel> pixels_, somePixels_;
    std::vector<KxfrMapPoint> ground_, someGround_;
    std::string text_;
};

void locate(const LocateOptions& options) {
    const auto opened = product::openProduct(options.file);
    std::vector<std::string> names;
    if (!options.layer.empty())
        names.push_back(options.layer);
    const auto raster = std::move(product::openRasters(opened, names).front());
    const product::Locator locator(std::make_shared<const product::Place>(raster->findPlace()));
    Session session(options, locator);
    readPoints(STDIN_FILENO, [&](std::span<const PointLine> lines) {
        options.inverse ? session.toImage(lines) : session.toGround(lines);
    });
}

} // namespace

void addLocate(CLI::App& app) {
    auto* verb = app.add_subcommand("locate", description);
    verb->footer(footer);
    auto options = std::make_shared<LocateOptions>();
    verb->add_option("FILE", options->file, "product")->required();
    verb->add_option("--layer", options->layer,
                     "layer name, as info lists it (default: the first)");
    verb->add_flag("--inverse", options->inverse, "from longitude and latitude to pixels");
    verb->add_option("--height", options->height, "metres above the ellipsoid")
        ->check(finiteNumber());
    addElevation(*verb, options->elevation);
    verb->callback([options] { locate(*options); });
}
