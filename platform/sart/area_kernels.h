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

/// Adds an edge that lies within the columns, as AreaBuffer::addEdge does. A line needs three more
/// cells right of its last column.
using AddEdge = void (*)(const AreaLines& to, const PixelGround& density, double ax, double ay,
                         double bx, double by);

/// @return the fastest kernel for this machine. Kernels for other registers may round differently.
AddEdge quickestAddEdge();

} // namespace sart
