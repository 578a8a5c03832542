// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

/// Lines and short labels over a picture, yellow with a dark rim, legible on dark and bright
/// ground. Positions are in pixels of the picture; (0, 0) is the centre of the first.
class Overlay {
public:
    struct Spot {
        double x, y;
    };
    struct Box {
        int left, top, width, height;
    };

    Overlay(std::uint32_t width, std::uint32_t height);

    int width() const { return width_; }
    int height() const { return height_; }

    /// Draws a line; parts outside the picture are left out.
    void line(const Spot& from, const Spot& to);
    /// Draws a filled bar.
    void bar(const Box& box);
    /// Draws the outline of a box.
    void frame(const Box& box);
    /// @param text  of digits, ".", "-", "+", blanks, "°" (UTF-8) and the letters B, E, N, S, W, d,
    ///        e, k, m.
    Box sizeOf(std::string_view text) const;
    void write(int left, int top, std::string_view text);

    /// @param rgb  the picture to draw on, three values per pixel.
    void drawOver(std::vector<std::uint8_t>& rgb) const;

private:
    void mark(std::vector<std::uint8_t>& cover, int x, int y, double part);
    void dot(int left, int top, int right, int bottom);

    int width_, height_;
    int scale_; ///< pixels per dot of the letters
    double halfLine_;
    std::vector<std::uint8_t> ink_, rim_; ///< how much of each pixel is covered, 0..255
};
