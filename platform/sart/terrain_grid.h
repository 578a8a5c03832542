// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"
#include "sarm/geodesy.h"

#include <span>

namespace sart {

/// A place in a grid of terrain nodes; whole numbers are nodes.
struct GridPlace {
    double row = 0, column = 0;
};

struct HeightRange {
    double lowestM = 0, highestM = 0;
};

/// Terrain as the nodes of a grid in whatever coordinates; between four nodes lie two triangles,
/// cut from the second node of the upper row to the first of the lower one. Heights are metres
/// above the ellipsoid. One thread at a time.
class RF_PLATFORM_API TerrainGrid {
public:
    virtual ~TerrainGrid();

    virtual int rows() const = 0;
    virtual int columns() const = 0;

    /// Nodes of one row from `firstColumn` on, as many as `to` holds, all inside the grid. The
    /// height, or all, of a node that is not known is NaN.
    virtual void nodes(int row, int firstColumn, std::span<sarm::GroundPosition> to) const = 0;

    /// @return where a longitude and latitude lie in the grid, beyond its edges too; NaN where the
    ///         grid's own coordinates end.
    virtual GridPlace placeOf(double lonDeg, double latDeg) const = 0;

    /// @return distance of neighbouring nodes on the ground, the larger of the two ways, m.
    virtual double spacingM() const = 0;

    /// @return bounds of the heights; wide ones cost time, too narrow ones lose terrain.
    virtual HeightRange heights() const = 0;
};

} // namespace sart
