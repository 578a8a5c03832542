// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/elevation.h"
#include "kprj/kprj.h"
#include "sarm/sensor_model.h"
#include "sart/terrain_grid.h"

#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace product {

/// The nodes of an elevation model under an image. They form the model's own grid, so that its
/// heights are used unchanged, or a finer grid where the model's cells are large compared with the
/// image. Files of the model with another grid are resampled to this one. Threads share it; each
/// uses a TerrainNodes::Grid of its own.
class TerrainNodes {
public:
    /// @param model  of the image; must outlive this.
    /// @param memory  bytes for cached nodes; at least a few tiles are cached.
    /// @throws loader::Error when the elevation model cannot be read, has no heights there, or has
    ///         a grid rotated against its map.
    TerrainNodes(const kimg::ElevationModel& elevation, const sarm::SensorModel& model,
                 std::size_t memory);

    class Grid;

private:
    struct Lattice { ///< the grid of nodes, in units of the model's map
        double left = 0, top = 0, stepX = 0, stepY = 0;
        int rows = 0, columns = 0;
        kimg::MapBlock block(int row, int column, int rows, int columns, int every = 1) const;
    };
    using Tile = std::shared_ptr<const std::vector<sarm::GroundPosition>>;
    using TilePlace = std::pair<int, int>;
    struct Kept {
        std::shared_future<Tile> tile;
        std::list<TilePlace>::iterator use;
    };

    void cover(const sarm::SensorModel& model, const sart::HeightRange& heights);
    sart::HeightRange sampledHeights() const;
    sart::GridPlace placeOf(const KprjGeographicConverter& converter, double lonDeg,
                            double latDeg) const;
    std::unique_ptr<KprjGeographicConverter> newConverter() const;
    Tile tileAt(const TilePlace& place, const Grid& reader);

    const kimg::ElevationModel& elevation_;
    KprjProjectionPtr projection_;
    Lattice lattice_;
    double spacingM_ = 0;
    sart::HeightRange heights_;
    std::size_t room_; ///< in tiles
    std::mutex mutex_;
    std::map<TilePlace, Kept> kept_;
    std::list<TilePlace> used_; ///< the latest first
};

class TerrainNodes::Grid final : public sart::TerrainGrid {
public:
    /// @param nodes  must outlive this.
    explicit Grid(TerrainNodes& nodes);

    int rows() const override { return nodes_.lattice_.rows; }
    int columns() const override { return nodes_.lattice_.columns; }
    void nodes(int row, int firstColumn, std::span<sarm::GroundPosition> to) const override;
    sart::GridPlace placeOf(double lonDeg, double latDeg) const override {
        return nodes_.placeOf(*converter_, lonDeg, latDeg);
    }
    double spacingM() const override { return nodes_.spacingM_; }
    sart::HeightRange heights() const override { return nodes_.heights_; }

private:
    friend class TerrainNodes;
    std::vector<sarm::GroundPosition> read(const TilePlace& place) const;

    TerrainNodes& nodes_;
    std::unique_ptr<kimg::ElevationModel> elevation_;
    std::unique_ptr<KprjGeographicConverter> converter_;
    mutable TilePlace lastPlace_{-1, -1};
    mutable Tile last_;
};

} // namespace product
