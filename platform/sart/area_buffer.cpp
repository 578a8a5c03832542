// SPDX-License-Identifier: MIT
#include "sart/area_buffer.h"

#include <algorithm>

namespace sart {

namespace {

using Areas = PixelGround::Areas;
using Parts = PixelGround::Parts;

} // namespace

AreaBuffer::AreaBuffer(int columns) : columns_(columns), addEdgeInside_(quickestAddEdge()) {}

void AreaBuffer::start(int firstLine, int lines) {
    firstLine_ = firstLine;
    lines_ = lines;
    cells_.assign(stride() * static_cast<std::size_t>(lines), {});
}

std::span<const PixelGround> AreaBuffer::line(int line) const {
    return {cells_.data() + stride() * static_cast<std::size_t>(line - firstLine_),
            static_cast<std::size_t>(columns_)};
}

void AreaBuffer::addTo(int column, int line, const PixelGround& amounts) {
    if (line < firstLine_ || line >= firstLine_ + lines_ || column < 0 || column >= columns_)
        return;
    PixelGround* cell =
        cells_.data() + stride() * static_cast<std::size_t>(line - firstLine_) + column;
    cell[0].add(amounts, 1);
    cell[1].add(amounts, -1);
}

void AreaBuffer::addEdge(const PixelGround& density, double ax, double ay, double bx, double by) {
    if (std::max(ay, by) <= firstLine_ || std::min(ay, by) >= firstLine_ + lines_)
        return;
    const double end = columns_;
    if (ax >= end && bx >= end)
        return;
    if (ax >= 0 && bx >= 0 && ax <= end && bx <= end) {
        addInside(density, ax, ay, bx, by);
        return;
    }
    if (ax <= 0 && bx <= 0) {
        addInside(density, 0, ay, 0, by);
        return;
    }
    // The edge leaves the image on a side: each part for itself.
    const double side = std::min(ax, bx) < 0 ? 0 : end;
    const double middle =
        std::clamp(ay + (by - ay) * ((side - ax) / (bx - ax)), std::min(ay, by), std::max(ay, by));
    addEdge(density, ax, ay, side, middle);
    addEdge(density, side, middle, bx, by);
}

void AreaBuffer::addInside(const PixelGround& density, double ax, double ay, double bx, double by) {
    addEdgeInside_({cells_.data(), stride(), firstLine_, lines_}, density, ax, ay, bx, by);
}

void AreaBuffer::sum() {
    for (int j = 0; j < lines_; ++j) {
        PixelGround* line = cells_.data() + stride() * static_cast<std::size_t>(j);
        Areas areas{};
        double parts[4] = {};
        for (int i = 0; i < columns_; ++i) {
            areas += line[i].areas;
            line[i].areas = areas;
            for (int k = 0; k < 4; ++k) {
                parts[k] += static_cast<double>(line[i].parts[k]);
                line[i].parts[k] = static_cast<float>(parts[k]);
            }
        }
    }
}

} // namespace sart
