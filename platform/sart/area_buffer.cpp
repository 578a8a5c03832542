// SPDX-License-Identifier: MIT
#include "sart/area_buffer.h"

#include "sart/whole_numbers.h"

#include <algorithm>

namespace sart {

namespace {

using Areas = PixelGround::Areas;
using Parts = PixelGround::Parts;

inline void add(PixelGround& to, const PixelGround& density, double much) {
    to.areas += density.areas * much;
    to.parts += density.parts * static_cast<float>(much);
}

/// An edge within one line, over `height` of it, from column position `a` to `b`: the area right of
/// it, shared among the columns that it crosses. Positive where the edge runs down.
inline void addWithinLine(PixelGround* line, const PixelGround& density, double a, double b,
                          double height) {
    const double left = std::min(a, b), right = std::max(a, b);
    int column = static_cast<int>(left);
    if (right <= column + 1) {
        const double rest = height * (0.5 * (left + right) - column);
        add(line[column], density, height - rest);
        add(line[column + 1], density, rest);
        return;
    }
    const double heightPerColumn = height / (right - left);
    double before = 0; // what the column before hands on
    double from = left, remaining = height;
    for (; column + 1 < right; ++column) {
        const double here = heightPerColumn * (column + 1 - from);
        const double rest = here * (0.5 * (from - column + 1));
        add(line[column], density, before + here - rest);
        before = rest;
        remaining -= here;
        from = column + 1;
    }
    const double rest = remaining * (0.5 * (from + right) - column);
    add(line[column], density, before + remaining - rest);
    add(line[column + 1], density, rest);
}

} // namespace

void AreaBuffer::start(int firstLine, int lines) {
    firstLine_ = firstLine;
    lines_ = lines;
    cells_.assign((static_cast<std::size_t>(columns_) + 2) * static_cast<std::size_t>(lines), {});
}

std::span<const PixelGround> AreaBuffer::line(int line) const {
    const std::size_t stride = static_cast<std::size_t>(columns_) + 2;
    return {cells_.data() + stride * static_cast<std::size_t>(line - firstLine_),
            static_cast<std::size_t>(columns_)};
}

void AreaBuffer::addTo(int column, int line, const PixelGround& amounts) {
    if (line < firstLine_ || line >= firstLine_ + lines_ || column < 0 || column >= columns_)
        return;
    PixelGround* cell =
        cells_.data() +
        (static_cast<std::size_t>(columns_) + 2) * static_cast<std::size_t>(line - firstLine_) +
        column;
    add(cell[0], amounts, 1);
    add(cell[1], amounts, -1);
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
    const bool down = by > ay;
    const double topX = down ? ax : bx, topY = down ? ay : by;
    const double lowX = down ? bx : ax, lowY = down ? by : ay;
    if (!(lowY - topY > 1e-200))
        return;
    // From the ends themselves, wherever the buffer's lines begin: the same bits in every strip.
    const double slope = (lowX - topX) / (lowY - topY);
    const auto crossing = [&](double y) { return topX + (y - topY) * slope; };
    const int from = std::max(floorOf(topY), firstLine_);
    const int to = std::min(ceilOf(lowY), firstLine_ + lines_);
    const std::size_t stride = static_cast<std::size_t>(columns_) + 2;
    PixelGround* line = cells_.data() + stride * static_cast<std::size_t>(from - firstLine_);
    double x = from > topY ? crossing(from) : topX;
    for (int j = from; j < to; ++j, line += stride) {
        const double nextX = j + 1 < lowY ? crossing(j + 1) : lowX;
        const double height = std::min(lowY, j + 1.0) - std::max(topY, double(j));
        addWithinLine(line, density, x, nextX, down ? height : -height);
        x = nextX;
    }
}

void AreaBuffer::sum() {
    const std::size_t stride = static_cast<std::size_t>(columns_) + 2;
    for (int j = 0; j < lines_; ++j) {
        PixelGround* line = cells_.data() + stride * static_cast<std::size_t>(j);
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
