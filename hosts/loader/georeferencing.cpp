// SPDX-License-Identifier: MIT
#include "loader/georeferencing.h"

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "loader/heard.h"

#include <array>
#include <utility>

namespace loader {
namespace {

using TextPtr = kmsc::HeapPtr<char16_t>;

std::u16string_view view(const char16_t* text) {
    return text ? std::u16string_view(text) : std::u16string_view();
}

/// An array of texts from the plug-in; frees the array and the texts.
class Texts {
public:
    Texts() = default;
    Texts(const Texts&) = delete;
    Texts& operator=(const Texts&) = delete;
    ~Texts() {
        for (std::uint32_t i = 0; array && i < count; ++i)
            kmsc_HeapFree(array[i]);
        kmsc_HeapFree(array);
    }

    char16_t** array = nullptr;
    std::uint32_t count = 0;
};

KprjProjectionPtr readProjection(const Plugin& plugin, RF_SARLayer* layer,
                                 const std::string& layerName) {
    const Heard heard;
    std::array<char16_t*, 9> t{};
    const std::uint32_t status = plugin.entry().layerMapProjectionRead(
        layer, &t[0], &t[1], &t[2], &t[3], &t[4], &t[5], &t[6], &t[7], &t[8]);
    std::array<TextPtr, 9> owners;
    for (std::size_t i = 0; i < t.size(); ++i)
        owners[i].reset(t[i]);
    if (status != 0)
        throw Error("layer " + layerName + ": " + heard.reason("its projection cannot be read"));
    if (!t[5])
        return nullptr;
    kerr::Slot slot;
    KprjProjectionPtr projection(
        kprj_ProjectionFromMIF({view(t[0]), view(t[1]), view(t[2]), view(t[3]), view(t[4]),
                                view(t[5]), view(t[6]), view(t[7]), view(t[8])},
                               slot));
    if (!projection)
        throw Error("layer " + layerName + ": " + Heard::text(*slot.get()));
    return projection;
}

KxfrXFormPtr readTransform(const Plugin& plugin, RF_SARLayer* layer, const std::string& layerName,
                           std::string& mapName, std::string& remarks) {
    const Heard heard;
    char16_t *name = nullptr, *units = nullptr;
    std::uint32_t count = 0;
    Texts lists[5];
    const std::uint32_t status = plugin.entry().layerMapToPixelTransformRead(
        layer, &name, &units, &count, &lists[0].array, &lists[1].array, &lists[2].array,
        &lists[3].array, &lists[4].array);
    const TextPtr nameOwner(name), unitsOwner(units);
    for (Texts& list : lists)
        list.count = count;
    if (status != 0)
        throw Error("layer " + layerName + ": " + heard.reason("its transform cannot be read"));
    mapName = ktxt::narrow(view(name));
    remarks = heard.reason("");
    if (count == 0)
        return nullptr;
    std::vector<KxfrPartTexts> parts;
    for (std::uint32_t i = 0; i < count; ++i)
        parts.push_back({view(lists[0].array[i]), view(lists[1].array[i]), view(lists[2].array[i]),
                         view(lists[3].array[i]), view(lists[4].array[i])});
    kerr::Slot slot;
    KxfrXFormPtr transform(kxfr_XFormFromTexts(parts, slot));
    if (!transform)
        throw Error("layer " + layerName + ": " + Heard::text(*slot.get()));
    return transform;
}

} // namespace

void requireSize(const KxfrXForm& transform, const std::string& layer, std::uint32_t width,
                 std::uint32_t height) {
    if (!transform.sensorModel())
        return;
    const sarm::ImageSize size = transform.sensorModel()->imageSize();
    if (std::cmp_not_equal(size.samples, width) || std::cmp_not_equal(size.lines, height))
        throw Error("layer " + layer + ": the image has " + std::to_string(width) + " x " +
                    std::to_string(height) + " pixels, its sensor model is one of " +
                    std::to_string(size.samples) + " x " + std::to_string(size.lines));
}

Georeferencing readGeoreferencing(const Plugin& plugin, const PlacedLayer& layer) {
    Georeferencing found;
    found.projection = readProjection(plugin, layer.handle, layer.name);
    std::string mapName;
    found.transform = readTransform(plugin, layer.handle, layer.name, mapName, found.remarks);
    if (found.transform)
        requireSize(*found.transform, layer.name, layer.width, layer.height);
    // An image that does not state the system of its coordinates still gets a default projection,
    // which is not the transform's.
    if (found.transform && found.projection && found.projection->name != mapName)
        found.projection = nullptr;
    return found;
}

} // namespace loader
