// SPDX-License-Identifier: MIT
#include "product/place/locator.h"

#include "loader/heard.h"

namespace product {

Locator::Locator(const OpenedProduct& opened, const loader::Layer& layer)
    : Locator(std::make_shared<const Place>(placeOf(opened, layer))) {}

Locator::Locator(std::shared_ptr<const Place> place, KxfrPixel origin)
    : place_(std::move(place)), origin_(origin) {
    const std::string why = place_->remarks.empty() ? "" : " (" + place_->remarks + ")";
    if (!place_->transform)
        throw loader::Error("layer " + place_->layer + ": nothing says where it lies" + why);
    if (!place_->projection)
        throw loader::Error("layer " + place_->layer +
                            ": the image does not say in which system its coordinates are" + why);
    if (place_->projection->authority == "EPSG:4326")
        return;
    kerr::Slot slot;
    converter_ = KprjGeographicConverter::create(*place_->projection, slot);
    if (!converter_)
        throw loader::Error("layer " + place_->layer + ": " + loader::Heard::text(*slot.get()));
}

void Locator::toGround(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground) const {
    if (origin_.sample == 0 && origin_.line == 0) {
        place_->transform->pixelToMap(pixels, ground);
    } else {
        std::vector<KxfrPixel> inGrid(pixels.begin(), pixels.end());
        for (KxfrPixel& pixel : inGrid)
            pixel = {pixel.sample + origin_.sample, pixel.line + origin_.line};
        place_->transform->pixelToMap(inGrid, ground);
    }
    if (converter_ && !ground.empty())
        converter_->toGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
}

void Locator::toImage(std::span<const KxfrMapPoint> ground, std::span<KxfrPixel> pixels) const {
    if (!converter_ || ground.empty()) {
        place_->transform->mapToPixel(ground, pixels);
    } else {
        std::vector<KxfrMapPoint> map(ground.begin(), ground.end());
        converter_->fromGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
        place_->transform->mapToPixel(map, pixels);
    }
    if (origin_.sample != 0 || origin_.line != 0)
        for (KxfrPixel& pixel : pixels)
            pixel = {pixel.sample - origin_.sample, pixel.line - origin_.line};
}

void setHeights(std::span<KxfrMapPoint> ground, const kimg::ElevationModel& elevation) {
    kerr::Slot slot;
    if (!elevation.heightsAt(ground, slot))
        throw loader::Error(loader::Heard::text(*slot.get()));
}

} // namespace product
