// SPDX-License-Identifier: MIT
#include "product/place/place.h"

#include "kxfr/part.h"
#include "loader/heard.h"
#include "product/bursts/burst_record.h"
#include "product/place/rpc_transform.h"
#include "product/place/stated_place.h"

#include <algorithm>

namespace product {
namespace {

/// What is known about an image before it is georeferenced.
struct Image {
    const OpenedProduct& opened;
    const std::string& layer;
    std::uint32_t width, height;
};

[[noreturn]] void fail(const Image& image, const KERR_REPORT& report) {
    throw loader::Error("layer " + image.layer + ": " + loader::Heard::text(report));
}

void append(std::string& remarks, const std::string& more) {
    remarks += (remarks.empty() || more.empty() ? "" : "; ") + more;
}

void onWgs84(Place& place, const Image& image) {
    kerr::Slot slot;
    place.projection.reset(kprj_GeographicWgs84(slot));
    if (!place.projection)
        fail(image, *slot.get());
}

/// @return whether the product states a grid that the plug-in's record cannot hold.
bool placeByOwnModel(Place& place, const Image& image) {
    const StatedProduct& stated = image.opened.stated();
    if (!stated.hasOwnModel())
        return false;
    place.transform = stated.ownModel();
    loader::requireSize(*place.transform, image.layer, image.width, image.height);
    place.source = PlaceSource::model;
    onWgs84(place, image);
    return true;
}

bool isMap(const KxfrXForm& transform) {
    return transform.parts().back()->designName() == "Affine";
}

double meanHeight(const std::vector<TiePoint>& ties) {
    double sum = 0;
    for (const TiePoint& tie : ties)
        sum += tie.heightM;
    return sum / static_cast<double>(ties.size());
}

/// @return whether rational functions, or else tie points, can be used.
bool placeByStatement(Place& place, const Image& image, StatedPlace stated, const char* whose) {
    const auto functions = functionsOf(stated);
    if (functions && functions->worstPixels <= functionsServePixels) {
        place.source = PlaceSource::functions;
        place.functions = functions->rpc;
        place.transform = rpcTransform(
            functions->rpc, static_cast<int>(image.width), static_cast<int>(image.height),
            stated.ties.empty() ? functions->rpc.heightOffsetM : meanHeight(stated.ties));
    } else if (!stated.ties.empty()) {
        std::vector<KxfrTie> ties;
        for (const TiePoint& tie : stated.ties)
            ties.push_back({{tie.sample, tie.line}, tie.lonDeg, tie.latDeg});
        kerr::Slot slot;
        place.transform.reset(kxfr_XFormFromTies(ties, KxfrMap::degrees, slot));
        if (!place.transform)
            fail(image, *slot.get());
        place.source = PlaceSource::ties;
    } else {
        return false;
    }
    place.ties = std::move(stated.ties);
    onWgs84(place, image);
    append(place.remarks,
           std::string("placed by the ") + whose +
               (place.source == PlaceSource::ties ? " tie points" : " rational functions"));
    return true;
}

/// For images that have no model and are no map.
void placeByStatements(Place& place, const Image& image) {
    try {
        if (placeByStatement(place, image,
                             statedByProduct(image.opened.stated(), image.width, image.height),
                             "product's own"))
            return;
    } catch (const loader::Error& error) {
        append(place.remarks, error.what());
    }
    placeByStatement(place, image, statedByImage(image.opened), "image file's");
}

Place find(const Image& image, const loader::Layer* layer, std::string remarks) {
    Place place;
    place.layer = image.layer;
    place.remarks = std::move(remarks);
    if (layer) {
        loader::Georeferencing found = layer->georeferencing();
        const bool isModel = found.transform && found.transform->sensorModel();
        if (isModel || (found.transform && isMap(*found.transform))) {
            place.source = isModel ? PlaceSource::model : PlaceSource::map;
            place.transform = std::move(found.transform);
            place.projection = std::move(found.projection);
            const bool needsModel = image.opened.stated().acquisition().geometry != "map";
            if (isModel || needsModel) // what the model lacks does not matter to a map
                place.remarks = std::move(found.remarks);
            return place;
        }
        append(place.remarks, found.remarks);
    }
    try {
        if (placeByOwnModel(place, image)) {
            place.remarks.clear();
            return place;
        }
    } catch (const loader::Error& error) {
        place.transform = nullptr;
        place.remarks = error.what();
    }
    placeByStatements(place, image);
    return place;
}

/// @return the burst that a layer shows; nothing for layers of whole images.
std::optional<GridPart> partOfLayer(const OpenedProduct& opened, const std::string& layer) {
    const ProductImage* image = opened.imageOf(parseLayerName(layer));
    return image ? partOf(opened, *image) : std::nullopt;
}

} // namespace

Place placeOf(const OpenedProduct& opened, const GridPart& part, const std::string& name) {
    const Image image{opened, name, part.samples, part.lines};
    Place place;
    place.layer = name;
    try {
        place.transform = transformOf(opened, part);
        place.source = PlaceSource::model;
        onWgs84(place, image);
    } catch (const loader::Error& error) {
        place.remarks = error.what();
        if (!opened.hasBursts()) // their statements are those of the whole grid
            placeByStatements(place, image);
    }
    return place;
}

Place placeOf(const OpenedProduct& opened, const loader::Layer& layer) {
    if (const auto part = partOfLayer(opened, layer.name()))
        return placeOf(opened, *part, layer.name());
    return find({opened, layer.name(), layer.width(), layer.height()}, &layer, "");
}

Place placeOf(const OpenedProduct& opened, const std::string& layer, std::uint32_t width,
              std::uint32_t height) {
    if (const auto part = partOfLayer(opened, layer))
        return placeOf(opened, *part, layer);
    std::optional<loader::Layer> open;
    std::string remarks;
    try {
        open.emplace(opened.product.openLayer(layer));
    } catch (const loader::Error& error) {
        remarks = error.what();
    }
    return find({opened, layer, width, height}, open ? &*open : nullptr, std::move(remarks));
}

} // namespace product
