// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"
#include "sarm/sensor_model.h"
#include "sart/area_buffer.h"
#include "sart/horizon.h"
#include "sart/strip_nodes.h"
#include "sart/terrain_grid.h"

#include <cstdint>

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
class RF_PLATFORM_API TerrainAreas {
public:
    /// Both must outlive the projection.
    TerrainAreas(const sarm::SensorModel& model, const TerrainGrid& terrain);

    /// Projects what lies in some lines.
    void project(int firstLine, int lines);

    /// The pixels of a line of the last strip.
    std::span<const PixelGround> line(int line) const { return buffer_.line(line); }

    /// @return memory that a strip takes at most.
    std::size_t bytesOf(int lines) const;

    /// @return cells of the terrain projected so far; those under two strips count twice.
    std::uint64_t cells() const { return cells_; }

private:
    struct Node;
    struct Row;
    struct Facet;
    struct RowFacets;

    void pass(bool draws, bool withShadows);
    void raiseHorizon();
    void fetch(int row, Row& nodes, bool withLooks);
    Facet facetOf(const Node& a, const Node& b, const Node& c);
    void facetsBetween(const Row& upper, const Row& lower, bool withShadows, RowFacets& facets);
    void darken(const Node& a, const Node& b, const Node& c, const PixelGround& change, int depth);
    Horizon::Point horizonPoint(const Node& node) const;
    bool hidden(const Node& node) const { return horizon_.hides(horizonPoint(node)); }
    sarm::Vec3 antennaAt(double y) const;

    const sarm::SensorModel& model_;
    const TerrainGrid& terrain_;
    sarm::ImageSize size_;
    double upright_;  ///< sign of the image area of level ground seen from above, turning left
    bool farIsRight_; ///< slant range grows with the sample
    double referenceHeightM_;
    double before_; ///< samples before the near edge whose terrain may throw shadows
    double startOfHorizon_, samplesPerStep_;
    int stepsOfHorizon_;
    int margin_; ///< lines that a cell of the terrain may reach over
    AreaBuffer buffer_;
    Horizon horizon_;
    bool shadows_ = false; ///< in the last strip
    StripNodes nodes_;
    std::vector<sarm::Vec3> antenna_; ///< for each line of the strip and its margin
    std::uint64_t cells_ = 0;
};

} // namespace sart
