// SPDX-License-Identifier: MIT
#include "product/place/terrain_nodes.h"

#include "loader/heard.h"
#include "loader/plugin.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace product {
namespace {

constexpr int tileRows = 64, tileColumns = 256;
constexpr double accuracy = 1e-3; ///< of places between exact ones, in steps of the grid
/// Limits of heights on the earth's land.
constexpr sart::HeightRange earthHeights{-500, 9000};

[[noreturn]] void fail(const kerr::Slot& slot) {
    throw loader::Error(loader::Heard::text(*slot.get()));
}

std::vector<KxfrMapPoint> nodesOf(const kimg::ElevationModel& elevation,
                                  const KprjGeographicConverter& converter,
                                  const kimg::MapBlock& block) {
    std::vector<KxfrMapPoint> nodes(std::size_t{block.columns} * block.lines);
    kerr::Slot slot;
    if (!elevation.nodesOf(converter, block, accuracy, nodes, slot))
        fail(slot);
    return nodes;
}

/// The image's pixels around its edge and across it.
std::vector<sarm::ImagePosition> netOver(const sarm::SensorModel& model) {
    constexpr int steps = 16;
    const sarm::ImageSize size = model.imageSize();
    // Terrain beyond the edges can cast shadows into the image.
    const double beyond = 0.05 * size.samples + 20;
    std::vector<sarm::ImagePosition> net;
    for (int row = 0; row <= steps; ++row)
        for (int column = 0; column <= steps; ++column)
            net.push_back({-beyond + (size.samples + 2 * beyond) * column / steps,
                           -0.5 + double(size.lines) * row / steps});
    return net;
}

/// The shorter extent of the image on the ground.
double shorterSideM(const sarm::SensorModel& model) {
    const sarm::ImageSize size = model.imageSize();
    const sarm::ImagePosition centre = model.centre();
    const auto between = [&](const sarm::ImagePosition& a, const sarm::ImagePosition& b) {
        const auto from = model.imageToGround(a, model.terrainHeightM());
        const auto to = model.imageToGround(b, model.terrainHeightM());
        if (!from || !to)
            throw loader::Error("the image's edge does not meet the ground");
        return norm(sarm::toEarthFixed(*to, {}) - sarm::toEarthFixed(*from, {}));
    };
    return std::min(between({-0.5, centre.line}, {size.samples - 0.5, centre.line}),
                    between({centre.sample, -0.5}, {centre.sample, size.lines - 0.5}));
}

} // namespace

kimg::MapBlock TerrainNodes::Lattice::block(int row, int column, int rowCount, int columnCount,
                                            int every) const {
    return {left + stepX * column,
            top + stepY * row,
            stepX * every,
            stepY * every,
            static_cast<std::uint32_t>((columnCount + every - 1) / every),
            static_cast<std::uint32_t>((rowCount + every - 1) / every)};
}

TerrainNodes::TerrainNodes(const kimg::ElevationModel& elevation, const sarm::SensorModel& model,
                           std::size_t memory)
    : elevation_(elevation), room_(std::max<std::size_t>(
                                 memory / (sizeof(sarm::GroundPosition) * tileRows * tileColumns),
                                 4)) {
    const kimg::ElevationModel::Posts posts = elevation.posts();
    if (posts.block.stepX == 0 || posts.block.stepY == 0)
        throw loader::Error("the elevation model's grid is turned against its map: bring it to a "
                            "map with north up first");
    kerr::Slot slot;
    projection_.reset(kprj_ProjectionFromText(posts.wkt.c_str(), slot));
    if (!projection_)
        fail(slot);
    lattice_ = {posts.block.left, posts.block.top, posts.block.stepX, posts.block.stepY, 1, 1};
    cover(model, earthHeights);
    // Sensor models cover half an image beyond the first and last line: nodes around a small image
    // must not be farther away.
    constexpr double fewestCells = 16; // across the image
    const double finer = std::ceil(fewestCells * spacingM_ / shorterSideM(model));
    if (finer > 1)
        lattice_ = {posts.block.left,          posts.block.top, posts.block.stepX / finer,
                    posts.block.stepY / finer, 1,               1};
    // Twice, because the heights found decide how far beyond the image's edges terrain matters.
    heights_ = earthHeights;
    cover(model, heights_);
    heights_ = sampledHeights();
    cover(model, heights_);
}

void TerrainNodes::cover(const sarm::SensorModel& model, const sart::HeightRange& heights) {
    const auto converter = newConverter();
    double top = std::numeric_limits<double>::infinity(), bottom = -top, left = top, right = -top;
    for (const double height : {heights.lowestM, heights.highestM})
        for (const sarm::ImagePosition& at : netOver(model)) {
            const auto ground = model.imageToGround(at, height);
            if (!ground)
                continue;
            const sart::GridPlace place = placeOf(*converter, ground->lonDeg, ground->latDeg);
            if (!std::isfinite(place.row + place.column))
                continue;
            top = std::min(top, place.row);
            bottom = std::max(bottom, place.row);
            left = std::min(left, place.column);
            right = std::max(right, place.column);
        }
    constexpr double most = 1e8, spare = 4;
    if (!(bottom - top < most && right - left < most))
        throw loader::Error("the elevation model's map does not show the image's place");
    lattice_.left += lattice_.stepX * (std::floor(left) - spare);
    lattice_.top += lattice_.stepY * (std::floor(top) - spare);
    lattice_.rows = static_cast<int>(std::ceil(bottom) - std::floor(top) + 2 * spare) + 1;
    lattice_.columns = static_cast<int>(std::ceil(right) - std::floor(left) + 2 * spare) + 1;
    // The distance between neighbours at the middle.
    double x[3], y[3];
    for (int i = 0; i < 3; ++i) {
        x[i] = lattice_.left + lattice_.stepX * (lattice_.columns / 2 + (i == 1));
        y[i] = lattice_.top + lattice_.stepY * (lattice_.rows / 2 + (i == 2));
    }
    converter->toGeographic(x, y, sizeof x[0], 3);
    const auto point = [&](int i) { return sarm::toEarthFixed({x[i], y[i], 0}, {}); };
    spacingM_ = std::max(norm(point(1) - point(0)), norm(point(2) - point(0)));
}

/// From every fourth node, with a margin for the nodes between.
sart::HeightRange TerrainNodes::sampledHeights() const {
    constexpr int every = 4, together = 256;
    const auto converter = newConverter();
    sart::HeightRange found{std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity()};
    for (int row = 0; row < lattice_.rows; row += every * together)
        for (int column = 0; column < lattice_.columns; column += every * together) {
            const auto nodes = nodesOf(
                elevation_, *converter,
                lattice_.block(row, column, std::min(every * together, lattice_.rows - row),
                               std::min(every * together, lattice_.columns - column), every));
            for (const KxfrMapPoint& node : nodes)
                if (std::isfinite(node.heightM)) {
                    found.lowestM = std::min(found.lowestM, node.heightM);
                    found.highestM = std::max(found.highestM, node.heightM);
                }
        }
    if (!(found.lowestM <= found.highestM))
        throw loader::Error("the elevation model has no heights where the image lies");
    const double between = every * spacingM_;
    return {found.lowestM - between, found.highestM + between};
}

sart::GridPlace TerrainNodes::placeOf(const KprjGeographicConverter& converter, double lonDeg,
                                      double latDeg) const {
    double x = lonDeg, y = latDeg;
    converter.fromGeographic(&x, &y, sizeof x, 1);
    if (projection_->isGeographic) { // one side of the antimeridian for all
        const double turn = 2 * 3.14159265358979323846 / projection_->unitSize;
        const double middle = lattice_.left + lattice_.stepX * lattice_.columns / 2;
        x = middle + std::remainder(x - middle, turn);
    }
    return {(y - lattice_.top) / lattice_.stepY, (x - lattice_.left) / lattice_.stepX};
}

std::unique_ptr<KprjGeographicConverter> TerrainNodes::newConverter() const {
    kerr::Slot slot;
    auto converter = KprjGeographicConverter::create(*projection_, slot);
    if (!converter)
        fail(slot);
    return converter;
}

/// The first thread that asks for a tile reads it; others wait for it.
TerrainNodes::Tile TerrainNodes::tileAt(const TilePlace& place, const Grid& reader) {
    std::promise<Tile> promise;
    {
        std::unique_lock lock(mutex_);
        if (const auto found = kept_.find(place); found != kept_.end()) {
            used_.splice(used_.begin(), used_, found->second.use);
            const std::shared_future<Tile> tile = found->second.tile;
            lock.unlock();
            return tile.get();
        }
        while (kept_.size() >= room_) {
            kept_.erase(used_.back());
            used_.pop_back();
        }
        used_.push_front(place);
        kept_.emplace(place, Kept{promise.get_future().share(), used_.begin()});
    }
    try {
        auto tile =
            std::make_shared<const std::vector<sarm::GroundPosition>>(reader.read(place));
        promise.set_value(tile);
        return tile;
    } catch (...) {
        promise.set_exception(std::current_exception());
        throw;
    }
}

TerrainNodes::Grid::Grid(TerrainNodes& nodes) : nodes_(nodes), converter_(nodes.newConverter()) {
    kerr::Slot slot;
    elevation_ = nodes.elevation_.another(slot);
    if (!elevation_)
        fail(slot);
}

std::vector<sarm::GroundPosition> TerrainNodes::Grid::read(const TilePlace& place) const {
    const Lattice& lattice = nodes_.lattice_;
    const auto block = lattice.block(place.first * tileRows, place.second * tileColumns, tileRows,
                                     tileColumns);
    std::vector<sarm::GroundPosition> tile;
    tile.reserve(std::size_t{tileRows} * tileColumns);
    for (const KxfrMapPoint& node : nodesOf(*elevation_, *converter_, block))
        tile.push_back({node.x, node.y, node.heightM});
    return tile;
}

void TerrainNodes::Grid::nodes(int row, int firstColumn,
                               std::span<sarm::GroundPosition> to) const {
    int column = firstColumn;
    for (std::size_t filled = 0; filled < to.size();) {
        const TilePlace place{row / tileRows, column / tileColumns};
        if (place != lastPlace_) {
            last_ = nodes_.tileAt(place, *this);
            lastPlace_ = place;
        }
        const int within = column % tileColumns;
        const auto count = std::min<std::size_t>(static_cast<std::size_t>(tileColumns - within),
                                                 to.size() - filled);
        std::copy_n(last_->begin() + (row % tileRows) * tileColumns + within, count,
                    to.begin() + static_cast<std::ptrdiff_t>(filled));
        filled += count;
        column += static_cast<int>(count);
    }
}

} // namespace product
