// SPDX-License-Identifier: MIT
#include "pictures/overlay.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace {

constexpr int glyphWidth = 5, glyphHeight = 7, advance = 6;
constexpr double rim = 1.5; // pixels
constexpr std::array<std::uint8_t, 3> inkColour = {255, 216, 64};
constexpr double rimDarkness = 0.75;

struct Glyph {
    char32_t letter;
    const char* dots; ///< seven rows of five
};

// clang-format off
constexpr Glyph glyphs[] = {
    {U'0', ".###." "#...#" "#..##" "#.#.#" "##..#" "#...#" ".###."},
    {U'1', "..#.." ".##.." "..#.." "..#.." "..#.." "..#.." ".###."},
    {U'2', ".###." "#...#" "....#" "...#." "..#.." ".#..." "#####"},
    {U'3', ".###." "#...#" "....#" "..##." "....#" "#...#" ".###."},
    {U'4', "...#." "..##." ".#.#." "#..#." "#####" "...#." "...#."},
    {U'5', "#####" "#...." "####." "....#" "....#" "#...#" ".###."},
    {U'6', "..##." ".#..." "#...." "####." "#...#" "#...#" ".###."},
    {U'7', "#####" "....#" "...#." "..#.." ".#..." ".#..." ".#..."},
    {U'8', ".###." "#...#" "#...#" ".###." "#...#" "#...#" ".###."},
    {U'9', ".###." "#...#" "#...#" ".####" "....#" "...#." ".##.."},
    {U'.', "....." "....." "....." "....." "....." ".##.." ".##.."},
    {U'-', "....." "....." "....." ".###." "....." "....." "....."},
    {U'°', ".##.." "#..#." "#..#." ".##.." "....." "....." "....."},
    {U'+', "....." "..#.." "..#.." "#####" "..#.." "..#.." "....."},
    {U'B', "####." "#...#" "#...#" "####." "#...#" "#...#" "####."},
    {U'd', "....#" "....#" ".####" "#...#" "#...#" "#...#" ".####"},
    {U'e', "....." "....." ".###." "#...#" "#####" "#...." ".###."},
    {U'E', "#####" "#...." "#...." "####." "#...." "#...." "#####"},
    {U'N', "#...#" "##..#" "##..#" "#.#.#" "#..##" "#..##" "#...#"},
    {U'S', ".####" "#...." "#...." ".###." "....#" "....#" "####."},
    {U'W', "#...#" "#...#" "#...#" "#.#.#" "#.#.#" "##.##" "#...#"},
    {U'k', "#...." "#...." "#..#." "#.#.." "##..." "#.#.." "#..#."},
    {U'm', "....." "....." "##.#." "#.#.#" "#.#.#" "#.#.#" "#.#.#"},
};
// clang-format on

/// The letters of a text whose only one beyond ASCII is the degree sign.
std::u32string lettersOf(std::string_view text) {
    std::u32string letters;
    for (const char c : text)
        if (const auto byte = static_cast<unsigned char>(c); byte < 0x80)
            letters += static_cast<char32_t>(byte);
        else if (byte >= 0xC0)
            letters += U'°';
    return letters;
}

const char* dotsOf(char32_t letter) {
    const auto found = std::find_if(std::begin(glyphs), std::end(glyphs),
                                    [&](const Glyph& glyph) { return glyph.letter == letter; });
    return found == std::end(glyphs) ? nullptr : found->dots;
}

} // namespace

Overlay::Overlay(std::uint32_t width, std::uint32_t height)
    : width_(static_cast<int>(width)), height_(static_cast<int>(height)),
      scale_(std::max(1, (std::max(width_, height_) + 150) / 450)), halfLine_(0.3 + 0.3 * scale_),
      ink_(std::size_t{width} * height), rim_(ink_.size()) {}

void Overlay::mark(std::vector<std::uint8_t>& cover, int x, int y, double part) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_ || !(part > 0))
        return;
    auto& pixel = cover[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                        static_cast<std::size_t>(x)];
    pixel = std::max(pixel, static_cast<std::uint8_t>(std::lround(255 * std::min(part, 1.0))));
}

/// A pixel's cover depends on the distance of its centre from the line.
void Overlay::line(const Spot& from, const Spot& to) {
    const double reach = halfLine_ + rim + 1;
    const auto bound = [](double value, int most) {
        return static_cast<int>(std::clamp(value, 0.0, static_cast<double>(most)));
    };
    const auto [left, right] = std::minmax(from.x, to.x);
    const auto [top, bottom] = std::minmax(from.y, to.y);
    if (!(right >= -reach && bottom >= -reach && left <= width_ + reach && top <= height_ + reach))
        return;
    const double dx = to.x - from.x, dy = to.y - from.y;
    const double square = std::max(dx * dx + dy * dy, 1e-12);
    for (int y = bound(top - reach, height_); y <= bound(bottom + reach, height_ - 1); ++y)
        for (int x = bound(left - reach, width_); x <= bound(right + reach, width_ - 1); ++x) {
            const double along =
                std::clamp(((x - from.x) * dx + (y - from.y) * dy) / square, 0.0, 1.0);
            const double away = std::hypot(x - from.x - along * dx, y - from.y - along * dy);
            mark(ink_, x, y, halfLine_ + 0.5 - away);
            mark(rim_, x, y, halfLine_ + rim + 0.5 - away);
        }
}

void Overlay::dot(int left, int top, int right, int bottom) {
    const int edge = static_cast<int>(std::ceil(rim));
    for (int y = top - edge; y < bottom + edge; ++y)
        for (int x = left - edge; x < right + edge; ++x) {
            mark(rim_, x, y, 1);
            if (x >= left && x < right && y >= top && y < bottom)
                mark(ink_, x, y, 1);
        }
}

void Overlay::bar(const Box& box) {
    dot(box.left, box.top, box.left + box.width, box.top + box.height);
}

Overlay::Box Overlay::sizeOf(std::string_view text) const {
    const int letters = static_cast<int>(lettersOf(text).size());
    return {0, 0, scale_ * (letters * advance - 1), scale_ * glyphHeight};
}

void Overlay::write(int left, int top, std::string_view text) {
    for (const char32_t letter : lettersOf(text)) {
        const char* dots = dotsOf(letter);
        for (int i = 0; dots && i < glyphWidth * glyphHeight; ++i)
            if (dots[i] == '#') {
                const int x = left + scale_ * (i % glyphWidth);
                const int y = top + scale_ * (i / glyphWidth);
                dot(x, y, x + scale_, y + scale_);
            }
        left += scale_ * advance;
    }
}

void Overlay::frame(const Box& box) {
    const double left = box.left - 0.5, top = box.top - 0.5;
    const double right = left + box.width, bottom = top + box.height;
    line({left, top}, {right, top});
    line({right, top}, {right, bottom});
    line({right, bottom}, {left, bottom});
    line({left, bottom}, {left, top});
}

void Overlay::drawOver(std::vector<std::uint8_t>& rgb) const {
    for (std::size_t i = 0; i < rgb.size(); ++i) {
        const double ground = rgb[i] * (1 - rimDarkness * rim_[i / 3] / 255);
        rgb[i] = static_cast<std::uint8_t>(
            std::lround(ground + (inkColour[i % 3] - ground) * ink_[i / 3] / 255));
    }
}
