#include "product/place/locator.h"

#include "loader/heard.h"
#include "product/place/georeferencing.h"

namespace product {

Locator::Locator(const OpenedProduct& opened, const loader::Layer& layer)
    : found_(georeferencingOf(opened, layer)) {
    const std::string why = found_.remarks.empty() ? "" : " (" + found_.remarks + ")";
    if (!found_.transform)
        throw loader::Error("layer " + layer.name() + ": nothing says where it lies" + why);
    if (!found_.projection)
        throw loader::Error("layer " + layer.name() +
                            ": the image does not say in which system its coordinates are" + why);
    if (found_.projection->authority == "EPSG:4326")
        return;
    kerr::Slot slot;
    converter_ = KprjGeographicConverter::create(*found_.projection, slot);
    if (!converter_)
        throw loader::Error("layer " + layer.name() + ": " + loader::Heard::text(*slot.get()));
}

void Locator::toGround(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground) const {
    found_.transform->pixelToMap(pixels, ground);
    if (converter_ && !ground.empty())
        converter_->toGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
}

void Locator::toImage(std::span<const KxfrMapPoint> ground, std::span<KxfrPixel> pixels) const {
    if (!converter_ || ground.empty()) {
        found_.transform->mapToPixel(ground, pixels);
        return;
    }
    std::vector<KxfrMapPoint> map(ground.begin(), ground.end());
    converter_->fromGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
    found_.transform->mapToPixel(map, pixels);
}

void setHeights(std::span<KxfrMapPoint> ground, const kimg::ElevationModel& elevation) {
    kerr::Slot slot;
    if (!elevation.heightsAt(ground, slot))
        throw loader::Error(loader::Heard::text(*slot.get()));
}

} // namespace product
