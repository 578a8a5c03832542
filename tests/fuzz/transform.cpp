// SPDX-License-Identifier: MIT
// Transforms as texts, five sections a part: from, to, data, dictionary, design's name.
#include "fuzz/require.h"
#include "fuzz/sections.h"
#include "fuzz/transform_texts.h"

#include <cmath>
#include <limits>

namespace {

KxfrXFormPtr decode(std::string_view text) {
    std::vector<std::u16string> texts;
    for (const fuzz::Section& section : fuzz::sections(text))
        texts.push_back(ktxt::widenLossy(section.content));
    std::vector<KxfrPartTexts> parts;
    for (std::size_t i = 0; i + 5 <= texts.size(); i += 5)
        parts.push_back({texts[i], texts[i + 1], texts[i + 2], texts[i + 3], texts[i + 4]});
    kerr::Slot slot;
    KxfrXFormPtr transform(kxfr_XFormFromTexts(parts, slot));
    fuzz::require(!transform == static_cast<bool>(slot), "a refusal has a report, and only it");
    return transform;
}

constexpr double numbers[] = {0,    0.5,   -1,    89.9, 90,    179.9, -180,
                              1e3,  -1e6,  6.4e6, 1e20, -1e300, 1e308,
                              std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()};

/// Both ways, at places that no image has too. An answer is a number.
void askEverywhere(const KxfrXForm& transform) {
    std::vector<KxfrMapPoint> map;
    std::vector<KxfrPixel> pixels;
    for (const double a : numbers)
        for (const double b : numbers) {
            map.push_back({a, b, map.size() % 3 == 0 ? b : 100});
            pixels.push_back({a, b});
        }
    std::vector<KxfrPixel> found(map.size());
    std::size_t answers = transform.mapToPixel(map, found);
    for (const KxfrPixel& pixel : found)
        answers -= std::isfinite(pixel.sample) && std::isfinite(pixel.line);
    fuzz::require(answers == 0, "the count of answers is the count of numbers");
    answers = transform.pixelToMap(pixels, map);
    for (const KxfrMapPoint& point : map)
        answers -= std::isfinite(point.x) && std::isfinite(point.y);
    fuzz::require(answers == 0, "the count of answers is the count of numbers");
    static_cast<void>(transform.sceneHeightM());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const KxfrXFormPtr transform = decode({reinterpret_cast<const char*>(bytes), size});
    if (!transform)
        return 0;
    askEverywhere(*transform);
    const std::string written = fuzz::textOf(*transform);
    const KxfrXFormPtr again = decode(written);
    fuzz::require(again && fuzz::textOf(*again) == written, "a transform reads back to the same");
    return 0;
}
