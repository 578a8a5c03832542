// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"
#include "sarm/sensor_model.h"
#include "sart/area_buffer.h"
#include "sart/horizon.h"
#include "sart/strip_nodes.h"
#include "sart/terrain_grid.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace sart {

/// Projects a terrain into an image, strip by strip: which area of ground each pixel sees. Every
/// triangle of the terrain is spread over exactly the pixels that it covers, so that a coarse
/// terrain leaves no stripes. Ground in shadow gives no area. One thread at a time; several
/// projections of one image and one terrain, with a TerrainGrid each, work side by side.
///
/// A pixel's numbers depend on image and terrain alone: bit for bit the same in any strip.
///
/// Source: D. Small, Flattening Gamma, IEEE TGRS 49(8), 2011; area projection: G. Shiroma et al.,
/// IEEE TGRS 60, 2022. Lines of sight are those of the image's line at the triangle's centre.
class TerrainAreas {
public:
    /// Both must outlive the projection.
    RF_PLATFORM_API TerrainAreas(const sarm::SensorModel& model, const TerrainGrid& terrain);
    RF_PLATFORM_API ~TerrainAreas();

    /// Projects what lies in some lines.
    RF_PLATFORM_API void project(int firstLine, int lines);

    /// The pixels of a line of the last strip.
    std::span<const PixelGround> line(int line) const { return buffer_.line(line); }

    /// @return memory that a strip takes at most.
    RF_PLATFORM_API std::size_t bytesOf(int lines) const;

    /// @return cells of the terrain drawn so far; those under two strips count twice.
    std::uint64_t cells() const { return cells_; }

private:
    struct Place;
    using Triangle = std::array<Place, 3>;
    struct Node;
    struct Facing;
    class Tile;
    /// The antenna when it sees a line, and directions there.
    struct View {
        sarm::Vec3 antenna, up, outwards;
    };

    template <typename Take>
    void eachTile(const Take& take);
    bool fetch(int tileRow, int tileColumn);
    void draw();
    void raise();
    void shade();
    void addOutlines();
    Facing facing(const Node& a, const Node& b, const Node& c) const;
    PixelGround densityOf(const Facing& facet, const Node& a, const Node& b, const Node& c) const;
    PixelGround changeInShadow(const Node& a, const Node& b, const Node& c);
    bool darken(const Place& a, const Place& b, const Place& c, const PixelGround& change,
                int depth);
    bool darkenHalf(const Triangle& corners, const PixelGround& change);
    View viewAt(int line) const;
    View viewAt(double y) const;

    const sarm::SensorModel& model_;
    const TerrainGrid& terrain_;
    sarm::ImageSize size_;
    double upright_;  ///< sign of the image area of level ground seen from above, turning left
    bool farIsRight_; ///< slant range grows with the sample
    double side_;     ///< sign of what lies on the ground's side of the track
    double before_;   ///< samples before the near edge whose terrain may throw shadows
    double startOfHorizonM_, stepsPerM_;
    int stepsOfHorizon_;
    int margin_; ///< lines that a cell of the terrain may reach over
    AreaBuffer buffer_;
    Horizon horizon_;
    StripNodes nodes_;
    std::vector<View> views_; ///< for each line of the strip and its margin
    std::unique_ptr<Tile> tile_;
    std::uint64_t cells_ = 0;
};

} // namespace sart
