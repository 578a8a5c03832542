// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/sensor_model.h"
#include "sart/terrain_grid.h"

#include <vector>

namespace sart {

/// Columns of one row of a terrain grid.
struct NodeSpan {
    int first = 0, end = 0; ///< empty when end <= first
};

/// A part of an image, whole pixels from corner to corner; may lie outside it.
struct ImagePart {
    double left, top, right, bottom; ///< pixel (i, j) covers [i, i + 1) x [j, j + 1)
};

struct StripNodes {
    int firstRow = 0;
    std::vector<NodeSpan> rows;
};

/// @return the nodes of every cell that may lie in a part of the image at any of the terrain's
///         heights, and a few more.
StripNodes nodesUnder(const sarm::SensorModel& model, const TerrainGrid& terrain,
                      const ImagePart& part);

} // namespace sart
