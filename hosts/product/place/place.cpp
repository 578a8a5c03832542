#include "product/place/place.h"

#include "kxfr/part.h"
#include "loader/heard.h"
#include "product/place/polar_format.h"
#include "product/place/rpc_transform.h"
#include "product/place/stated_place.h"

#include <algorithm>

namespace product {
namespace {

constexpr double mostPixelsOff = 0.1; ///< of functions from the ties that go with them

/// What is known of an image before its place is.
struct Image {
    const std::string& productFile;
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

/// @return whether the product states a polar-format grid, whose model the plug-in's record has no
///         room for.
bool placeByPolarFormat(Place& place, const Image& image) {
    const ProductDocument document = readDocument(image.productFile);
    if (!statesPolarFormat(document))
        return false;
    place.transform = polarFormatTransform(document);
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

/// @return whether functions, or else tie points, serve.
bool placeByStatement(Place& place, const Image& image, StatedPlace stated, const char* whose) {
    const auto functions = functionsOf(stated);
    if (functions && functions->worstPixels <= mostPixelsOff) {
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

/// Where there is no model, and the image is no map.
void placeByStatements(Place& place, const Image& image) {
    try {
        if (placeByStatement(place, image,
                             statedByProduct(image.productFile, image.width, image.height),
                             "product's own"))
            return;
    } catch (const loader::Error& error) {
        append(place.remarks, error.what());
    }
    placeByStatement(place, image, statedByImage(image.productFile), "image file's");
}

Place find(const Image& image, const loader::Layer* layer, std::string remarks) {
    Place place;
    place.productFile = image.productFile;
    place.layer = image.layer;
    place.remarks = std::move(remarks);
    if (layer) {
        loader::Georeferencing found = layer->georeferencing();
        const bool isModel = found.transform && found.transform->sensorModel();
        if (isModel || (found.transform && isMap(*found.transform))) {
            place.source = isModel ? PlaceSource::model : PlaceSource::map;
            place.transform = std::move(found.transform);
            place.projection = std::move(found.projection);
            place.remarks = std::move(found.remarks);
            return place;
        }
        append(place.remarks, found.remarks);
    }
    try {
        if (placeByPolarFormat(place, image))
            return place;
    } catch (const loader::Error& error) {
        place.transform = nullptr;
        place.remarks = error.what();
    }
    placeByStatements(place, image);
    return place;
}

} // namespace

Place placeOf(const loader::Layer& layer) {
    return find({layer.productFile(), layer.name(), layer.width(), layer.height()}, &layer, "");
}

Place placeOf(const loader::Product& product, const std::string& layer, std::uint32_t width,
              std::uint32_t height) {
    std::optional<loader::Layer> opened;
    std::string remarks;
    try {
        opened.emplace(product.openLayer(layer));
    } catch (const loader::Error& error) {
        remarks = error.what();
    }
    return find({product.name(), layer, width, height}, opened ? &*opened : nullptr,
                std::move(remarks));
}

} // namespace product
