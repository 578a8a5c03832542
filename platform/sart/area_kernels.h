// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace sart {

struct PixelGround;

/// Lines of pixels in memory.
struct AreaLines {
    PixelGround* cells;
    std::size_t stride; ///< from line to line
    int firstLine, lines;
};

/// Adds an edge that lies within the columns, as AreaBuffer::addEdge. Three cells right of the last
/// column are there for what is cut off.
using AddEdge = void (*)(const AreaLines& to, const PixelGround& density, double ax, double ay,
                         double bx, double by);

/// @return the quickest on this machine. Others round otherwise.
AddEdge quickestAddEdge();

} // namespace sart
