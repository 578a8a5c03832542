// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"
#include "sart/area_kernels.h"
#include "sart/large_pages.h"

#include <cstddef>
#include <span>
#include <vector>

namespace sart {

/// What the terrain does in one pixel of the image. Parts are of the pixel's area: 1 is all of it.
/// Before AreaBuffer::sum, and for an outline, the same numbers a pixel of image area.
struct PixelGround {
    typedef double Areas __attribute__((vector_size(16)));
    typedef float Parts __attribute__((vector_size(16)));
    Areas areas{}; ///< seen from the antenna, and along the terrain, of lit ground; m2
    Parts parts{}; ///< lit and upright, lit and turned, dark, height (m) times cover

    PixelGround() = default;
    PixelGround(double gamma, double sigma, Parts p = Parts{0, 0, 0, 0})
        : areas{gamma, sigma}, parts(p) {}

    /// Adds so much of a density.
    void add(const PixelGround& density, double much) {
        areas += density.areas * much;
        parts += density.parts * static_cast<float>(much);
    }

    double gammaM2() const { return areas[0]; }
    double sigmaM2() const { return areas[1]; }
    /// Under lit ground whose slant range grows outwards.
    double upright() const { return parts[0]; }
    /// Under lit ground whose slant range falls outwards: the pixel lies in layover.
    double turned() const { return parts[1]; }
    /// Under ground in shadow.
    double dark() const { return parts[2]; }
    /// Under terrain, folds counted once: 1 inside the terrain, 0 outside it.
    double covered() const { return parts[0] - parts[1] + parts[2]; }
    /// Mean height of the ground; only where something is covered.
    double heightM() const { return parts[3] / covered(); }
};

/// Lines of an image to which areas are added by their outlines: each edge adds the area between it
/// and the line's end, signed by its direction, so that the running sum along a line is the exact
/// cover of every pixel. Costs the length of the outlines, not their area. Pixel (i, j) covers
/// [i, i + 1) x [j, j + 1). One thread at a time.
///
/// What a line receives does not depend on which other lines the buffer holds.
class AreaBuffer {
public:
    explicit AreaBuffer(int columns);

    /// Empties the buffer and sets which lines it holds.
    void start(int firstLine, int lines);

    /// Adds the edge from a to b of an outline. What lies left of the first column counts for
    /// nothing, what lies right of the last or on other lines is cut off.
    /// @param density  amounts a pixel of image area; an outline that runs down its left side adds
    ///        them, the other way round it takes them away.
    void addEdge(const PixelGround& density, double ax, double ay, double bx, double by);

    /// Adds amounts to one pixel, if the buffer has it.
    void addTo(int column, int line, const PixelGround& amounts);

    /// Makes pixels of what was added. Once, after the last edge.
    void sum();

    int firstLine() const { return firstLine_; }
    int lines() const { return lines_; }
    RF_PLATFORM_API std::span<const PixelGround> line(int line) const;

    static std::size_t bytesPerLine(int columns) {
        return sizeof(PixelGround) * (static_cast<std::size_t>(columns) + beyond);
    }

private:
    /// Cells right of a line's last column, for what is cut off.
    static constexpr std::size_t beyond = 3;

    std::size_t stride() const { return static_cast<std::size_t>(columns_) + beyond; }
    void addInside(const PixelGround& density, double ax, double ay, double bx, double by);

    int columns_;
    AddEdge addEdgeInside_;
    int firstLine_ = 0, lines_ = 0;
    std::vector<PixelGround, LargePages<PixelGround>> cells_;
};

} // namespace sart
