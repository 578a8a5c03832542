// SPDX-License-Identifier: MIT
#include "sart/terrain_grid.h"

namespace sart {

TerrainGrid::~TerrainGrid() = default;

} // namespace sart
