#include "product/place/georeferencing.h"

#include "loader/heard.h"

#include <optional>

namespace product {
namespace {

/// @return nothing when the product states no such grid.
/// @throws loader::Error when it is damaged, or one of another image.
std::optional<loader::Georeferencing> byOwnModel(const StatedProduct& stated,
                                                 const loader::Layer& layer) {
    if (!stated.hasOwnModel())
        return std::nullopt;
    loader::Georeferencing found;
    found.transform = stated.ownModel();
    loader::requireSize(*found.transform, layer.name(), layer.width(), layer.height());
    kerr::Slot slot;
    found.projection.reset(kprj_GeographicWgs84(slot));
    if (!found.projection)
        throw loader::Error("layer " + layer.name() + ": " + loader::Heard::text(*slot.get()));
    return found;
}

} // namespace

loader::Georeferencing georeferencingOf(const OpenedProduct& opened, const loader::Layer& layer) {
    loader::Georeferencing found = layer.georeferencing();
    if (found.transform && found.transform->sensorModel())
        return found;
    try {
        if (auto better = byOwnModel(opened.stated(), layer))
            return *std::move(better);
    } catch (const loader::Error& error) {
        found.remarks = error.what();
    }
    return found;
}

} // namespace product
