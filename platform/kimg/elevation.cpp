// SPDX-License-Identifier: MIT
#include "kimg/elevation.h"

#include "kerr/reported.h"
#include "kimg/block_ground.h"
#include "kimg/elevation_files.h"
#include "kimg/elevation_group.h"
#include "kimg/gdal_session.h"
#include "kprj/heights.h"
#include "kxfr/smooth_grid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>

namespace kimg {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double mostPixelsPast = 16;             ///< that a coarser neighbour's half pixel is wide
constexpr std::size_t mostPixelsAtOnce = 1 << 19; // 4 MiB

using Kind = KprjHeightSystem::Kind;

std::array<double, 2> rangeOf(const std::vector<double>& numbers) {
    std::array<double, 2> range = {std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity()};
    for (const double number : numbers) {
        range[0] = number < range[0] ? number : range[0];
        range[1] = number > range[1] ? number : range[1];
    }
    return range;
}

const KprjGeoid* geoidNamed(const std::string& option) {
    for (const KprjGeoid& geoid : kprj_Geoids())
        if (option == geoid.option)
            return &geoid;
    return nullptr;
}

} // namespace

struct ElevationModel::State {
    /// What all threads share.
    struct Shared {
        std::vector<ElevationGroup> groups;
        std::string heights; ///< as ElevationSource has it
        std::string remarks;
    };
    /// One thread's objects for look-ups in a group.
    struct Way {
        const ElevationGroup* group;
        std::unique_ptr<KprjGeographicConverter> converter; ///< null: the files are on WGS 84
        std::unique_ptr<KprjHeightZero> zero;               ///< null: the ellipsoid, or geoid
    };
    /// Positions of points in a group, and the height of its zero surface there.
    struct Places {
        std::span<const double> samples, lines, zeros;
    };
    /// A point without a height from any group so far.
    struct Open {
        std::size_t point;
        double height;
        double edgeM, reachM; ///< how far it lies past a file's edge, and may at most
    };

    std::shared_ptr<const Shared> shared;
    std::vector<Way> ways;
    std::unique_ptr<ElevationModel> geoid; ///< the file that the option named

    static std::shared_ptr<const Shared> openFiles(const ElevationSource& source);
    void prepare(KERR_REPORT** slot);
    void addZeros(const Way& way, std::span<KxfrMapPoint> places) const;
    KxfrPixel pixelIn(const ElevationGroup& group, const KxfrMapPoint& place, double lonDeg) const;

    template <class AnyPlaces>
    static void settle(const ElevationGroup& group, const AnyPlaces& places,
                       std::span<KxfrMapPoint> points, std::vector<std::size_t>& others);
    template <class PlacesIn>
    void resolve(std::span<KxfrMapPoint> points, const PlacesIn& placesIn) const;
    void answer(const ElevationGroup& group, const Places& places, std::span<Open> open) const;
    void locate(const Way& way, double nearLonDeg, std::span<KxfrMapPoint> ground,
                double* pixelsAndZeros) const;
};

std::shared_ptr<const ElevationModel::State::Shared>
ElevationModel::State::openFiles(const ElevationSource& source) {
    auto shared = std::make_shared<Shared>();
    shared->heights = source.heights;
    for (const std::string& path : source.paths)
        for (const std::string& name : elevationFilesOf(path)) {
            auto file = std::make_shared<ElevationFile>(name);
            const bool isVertical = file->heights().kind == Kind::vertical;
            if (source.heights == "auto") {
                if (file->heights().kind == Kind::unstated && shared->remarks.empty())
                    shared->remarks =
                        name + ": does not say from what its heights count: taken as heights "
                               "above the ellipsoid; use --dem-heights egm2008 for Copernicus, "
                               "egm96 for SRTM";
            } else {
                if (isVertical && shared->remarks.empty())
                    shared->remarks = name + ": says that its heights are \"" +
                                      file->heights().name + "\"; \"" + source.heights +
                                      "\" is taken instead, as asked";
                file->countFrom(Kind::ellipsoid);
            }
            const bool known = std::any_of(shared->groups.begin(), shared->groups.end(),
                                           [&](ElevationGroup& group) { return group.take(file); });
            if (!known)
                shared->groups.emplace_back(std::move(file));
        }
    if (shared->groups.empty())
        throw ImageError("no elevation model is named");
    return shared;
}

/// Makes this thread's PROJ objects.
void ElevationModel::State::prepare(KERR_REPORT** slot) {
    const KprjGeoid* named = geoidNamed(shared->heights);
    if (!named && shared->heights != "auto" && shared->heights != "ellipsoid") {
        geoid = ElevationModel::open({{shared->heights}, "ellipsoid"}, slot);
        if (!geoid)
            throw ImageError(shared->heights + ": its geoid heights cannot be used");
    }
    for (const ElevationGroup& group : shared->groups) {
        Way way{&group, nullptr, nullptr};
        const std::string& file = group.first().path();
        if (group.projection().authority != "EPSG:4326") {
            way.converter = KprjGeographicConverter::create(group.projection(), slot);
            if (!way.converter)
                throw ImageError(file + ": its place cannot be understood");
        }
        const bool stated = group.first().heights().kind == Kind::vertical;
        if (stated || named) {
            way.zero = KprjHeightZero::create(named ? named->system : group.first().system(), slot);
            if (!way.zero)
                throw ImageError(named ? std::string("the geoid ") + named->name : file);
        }
        ways.push_back(std::move(way));
    }
}

/// Sets heightM of each place to the height of the group's zero surface.
void ElevationModel::State::addZeros(const Way& way, std::span<KxfrMapPoint> places) const {
    if (geoid) {
        kerr::Slot slot;
        if (!geoid->heightsAt(places, slot))
            throw ImageError(kerr_Text(slot.get()));
        return;
    }
    std::vector<double> zeros(places.size(), 0);
    if (way.zero && !places.empty())
        way.zero->heightsAt(&places[0].x, &places[0].y, sizeof places[0], places.size(),
                            zeros.data());
    for (std::size_t i = 0; i < places.size(); ++i)
        places[i].heightM = zeros[i];
}

/// Samples, lines and zeros of places (longitude, latitude), three numbers each.
/// @param nearLonDeg  samples of geographic files continue across the antimeridian from here.
void ElevationModel::State::locate(const Way& way, double nearLonDeg,
                                   std::span<KxfrMapPoint> ground, double* pixelsAndZeros) const {
    const ElevationGroup& group = *way.group;
    addZeros(way, ground);
    if (way.converter)
        way.converter->fromGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
    const KPRJ_PROJECTION& projection = group.projection();
    const double turn = projection.isGeographic ? 6.283185307179586 / projection.unitSize : 0;
    double from = nearLonDeg * turn / 360;
    if (turn > 0 && !group.isClosed()) {
        const auto& g = group.first().geoTransform();
        const double middle = g[0] + g[1] * group.first().width() / 2;
        from += turn * std::round((middle - from) / turn);
    }
    for (std::size_t i = 0; i < ground.size(); ++i) {
        double x = ground[i].x;
        if (turn > 0)
            x = from + std::remainder(x - from, turn);
        const KxfrPixel pixel = group.pixelOf(x, ground[i].y);
        pixelsAndZeros[3 * i] = pixel.sample;
        pixelsAndZeros[3 * i + 1] = pixel.line;
        pixelsAndZeros[3 * i + 2] = ground[i].heightM;
    }
}

namespace {

/// A position in a group, or its distance from the group's files.
struct Clamped {
    double sample, line;
    double past; ///< pixels from there to the place
};

Clamped clamped(const ElevationGroup& group, double sample, double line) {
    const auto& e = group.extent();
    const double x = group.isClosed() ? sample : std::clamp(sample, e[0], e[1]);
    const double y = std::clamp(line, e[2], e[3]);
    return {x, y, x == sample && y == line ? 0 : std::hypot(sample - x, line - y)};
}

} // namespace

/// Looks up points in one group; halves the set if it spreads too far for one read.
void ElevationModel::State::answer(const ElevationGroup& group, const Places& places,
                                   std::span<Open> open) const {
    double left = std::numeric_limits<double>::infinity(), right = -left, top = left,
           bottom = -left;
    for (const Open& each : open) {
        const double sample = places.samples[each.point], line = places.lines[each.point];
        if (std::isnan(sample + line))
            continue;
        const Clamped at = clamped(group, sample, line);
        if (at.past > mostPixelsPast)
            continue;
        left = std::min(left, at.sample);
        right = std::max(right, at.sample);
        top = std::min(top, at.line);
        bottom = std::max(bottom, at.line);
    }
    if (!(left <= right))
        return;
    ElevationGroup::Window window(group, left, top, right, bottom);
    constexpr std::size_t alwaysRead = 1 << 16;
    const std::size_t most = std::clamp(8 * open.size(), alwaysRead, mostPixelsAtOnce);
    if (window.size() > most && open.size() > 1) {
        answer(group, places, open.first(open.size() / 2));
        answer(group, places, open.subspan(open.size() / 2));
        return;
    }
    if (window.size() == 0)
        return;
    window.read();
    const double pixelM = group.pixelM();
    for (Open& each : open) {
        const double sample = places.samples[each.point], line = places.lines[each.point];
        const Clamped at = clamped(group, sample, line);
        if (!(at.past <= mostPixelsPast))
            continue;
        const auto found = window.at(at.sample, at.line);
        const double height = found.heightM + places.zeros[each.point];
        if (!(found.heightM > outsideAllFiles) || std::isnan(height))
            continue; // outside, or a hole that another file may fill
        const double edgeM = (found.pastEdge + at.past) * pixelM;
        if (edgeM == 0) {
            each = {each.point, height, 0, 0};
        } else if (std::isinf(each.edgeM)) {
            each = {each.point, height, edgeM, pixelM / 2};
        } else if (edgeM + each.edgeM <= 1.01 * (pixelM / 2 + each.reachM)) {
            // Between the edges of two neighbouring files.
            const double both = each.edgeM + edgeM;
            each = {each.point, (each.height * edgeM + height * each.edgeM) / both, 0, 0};
        } else if (edgeM <= pixelM / 2 && each.edgeM > each.reachM) {
            each = {each.point, height, edgeM, pixelM / 2};
        }
    }
}

/// The usual case: points inside the files of the first group, all read at once.
/// @param others  receives the others.
template <class AnyPlaces>
void ElevationModel::State::settle(const ElevationGroup& group, const AnyPlaces& places,
                                   std::span<KxfrMapPoint> points,
                                   std::vector<std::size_t>& others) {
    const auto [left, right] = places.sampleRange();
    const auto [top, bottom] = places.lineRange();
    if (left <= right && top <= bottom) {
        ElevationGroup::Window window(group, left, top, right, bottom);
        if (window.size() > 0 && window.size() <= std::max(mostPixelsAtOnce, 4 * points.size())) {
            window.read();
            return window.heightsAt(places.samples().data(), places.lines().data(),
                                    places.zeros().data(), points, others);
        }
    }
    others.resize(points.size());
    std::iota(others.begin(), others.end(), std::size_t{0});
}

/// @param placesIn  called as placesIn(way) for each group; returns Places.
template <class PlacesIn>
void ElevationModel::State::resolve(std::span<KxfrMapPoint> points,
                                    const PlacesIn& placesIn) const {
    constexpr double never = std::numeric_limits<double>::infinity();
    std::vector<Open> open;
    for (const Way& way : ways) {
        const auto places = placesIn(way);
        if (&way == &ways.front()) {
            std::vector<std::size_t> others;
            settle(*way.group, places, points, others);
            for (const std::size_t point : others) {
                points[point].heightM = none;
                open.push_back({point, none, never, 0});
            }
        }
        answer(*way.group, {places.samples(), places.lines(), places.zeros()}, open);
        std::erase_if(open, [&](const Open& each) {
            if (each.edgeM <= each.reachM)
                points[each.point].heightM = each.height;
            return each.edgeM == 0;
        });
        if (open.empty())
            return;
    }
}

ElevationModel::ElevationModel(std::unique_ptr<State> state) : state_(std::move(state)) {}

ElevationModel::~ElevationModel() = default;

std::unique_ptr<ElevationModel> ElevationModel::open(const ElevationSource& source,
                                                     KERR_REPORT** slot) {
    return kerr::reported("ElevationModel::open", slot, [&] {
        registerDrivers();
        auto state = std::make_unique<State>();
        state->shared = State::openFiles(source);
        state->prepare(slot);
        return std::unique_ptr<ElevationModel>(new ElevationModel(std::move(state)));
    });
}

std::unique_ptr<ElevationModel> ElevationModel::another(KERR_REPORT** slot) const {
    return kerr::reported("ElevationModel::another", slot, [&] {
        auto state = std::make_unique<State>();
        state->shared = state_->shared;
        state->prepare(slot);
        return std::unique_ptr<ElevationModel>(new ElevationModel(std::move(state)));
    });
}

const std::string& ElevationModel::remarks() const {
    return state_->shared->remarks;
}

bool ElevationModel::heightsAt(std::span<KxfrMapPoint> points, KERR_REPORT** slot) const {
    struct Exactly {
        std::vector<double> values[3];
        std::span<const double> samples() const { return values[0]; }
        std::span<const double> lines() const { return values[1]; }
        std::span<const double> zeros() const { return values[2]; }
        std::array<double, 2> sampleRange() const { return rangeOf(values[0]); }
        std::array<double, 2> lineRange() const { return rangeOf(values[1]); }
    };
    return kerr::reported(__func__, slot, [&] {
        if (points.empty())
            return true;
        state_->resolve(points, [&](const State::Way& way) {
            std::vector<KxfrMapPoint> ground(points.begin(), points.end());
            std::vector<double> found(3 * ground.size());
            state_->locate(way, points[0].x, ground, found.data());
            Exactly exactly;
            for (std::size_t c = 0; c < 3; ++c) {
                exactly.values[c].resize(ground.size());
                for (std::size_t i = 0; i < ground.size(); ++i)
                    exactly.values[c][i] = found[3 * i + c];
            }
            return exactly;
        });
        return true;
    });
}

bool ElevationModel::nodesOf(const KprjGeographicConverter& map, const MapBlock& block,
                             double accuracy, std::span<KxfrMapPoint> nodes,
                             KERR_REPORT** slot) const {
    struct Smooth {
        kxfr::SmoothGrid<3> grid;
        std::span<const double> samples() const { return grid[0]; }
        std::span<const double> lines() const { return grid[1]; }
        std::span<const double> zeros() const { return grid[2]; }
        std::array<double, 2> sampleRange() const { return grid.rangeOf(0); }
        std::array<double, 2> lineRange() const { return grid.rangeOf(1); }
    };
    return kerr::reported(__func__, slot, [&] {
        if (nodes.empty())
            return true;
        const BlockGround ground(map, block);
        const double tolerance = accuracy * ground.stepM() / metresInDegree;
        std::vector<KxfrMapPoint> places;
        const kxfr::SmoothGrid<2> degrees(block.columns, block.lines,
                                          {tolerance / ground.longestParallel(), tolerance},
                                          [&](auto at, std::span<std::array<double, 2>> values) {
                                              places.resize(at.size());
                                              ground.to(at, places);
                                              for (std::size_t i = 0; i < at.size(); ++i)
                                                  values[i] = {places[i].x, places[i].y};
                                          });
        state_->resolve(nodes, [&](const State::Way& way) {
            const double pixels = accuracy * ground.stepM() / way.group->pixelM();
            return Smooth{kxfr::SmoothGrid<3>(
                block.columns, block.lines, {pixels, pixels, accuracy * ground.stepM()},
                [&](auto at, std::span<std::array<double, 3>> values) {
                    places.resize(at.size());
                    ground.to(at, places);
                    state_->locate(way, ground.nearLonDeg(), places, values[0].data());
                })};
        });
        const std::span<const double> lon = degrees[0], lat = degrees[1];
        const auto [west, east] = degrees.rangeOf(0);
        const bool turns = west < -180 || east > 180;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            nodes[i].x = turns ? std::remainder(lon[i], 360.0) : lon[i];
            nodes[i].y = lat[i];
        }
        return true;
    });
}

ElevationModel::Posts ElevationModel::posts() const {
    const ElevationGroup& group = state_->shared->groups.front();
    const auto& g = group.first().geoTransform();
    Posts posts;
    posts.wkt = group.projection().wkt;
    if (g[2] != 0 || g[4] != 0)
        return posts;
    const auto& e = group.extent();
    posts.block = {g[0] + g[1] * (e[0] + 0.5),
                   g[3] + g[5] * (e[2] + 0.5),
                   g[1],
                   g[5],
                   static_cast<std::uint32_t>(e[1] - e[0] + 1),
                   static_cast<std::uint32_t>(e[3] - e[2] + 1)};
    return posts;
}

} // namespace kimg
