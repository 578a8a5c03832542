// SPDX-License-Identifier: MIT
#include "georeference.h"

#include "product/place/stated_place.h"

#include <cpl_error.h>
#include <cpl_string.h>

namespace rf_sar_gdal {
namespace {

OGRSpatialReference systemOf(const std::string& wkt) {
    OGRSpatialReference system;
    if (!wkt.empty())
        system.importFromWkt(wkt.c_str());
    system.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return system;
}

kimg::Georeferencing statedByFile(const ProductImage& image) {
    kerr::Slot slot;
    auto found = kimg::georeferencing(image.samples()->layer(), slot);
    if (!found)
        throw loader::Error(image.file +
                            ": its georeferencing cannot be read: " + kerr_Text(slot.get()));
    return *std::move(found);
}

void warn(const loader::Error& error) {
    CPLError(CE_Warning, CPLE_AppDefined, "%s", error.what());
}

} // namespace

GeorefChoice parseGeorefChoice(const std::string& text) {
    for (const auto& [name, choice] : {std::pair{"", GeorefChoice::automatic},
                                       {"AUTO", GeorefChoice::automatic},
                                       {"MODEL", GeorefChoice::model},
                                       {"RPC", GeorefChoice::rpc},
                                       {"GCP", GeorefChoice::gcp},
                                       {"PRODUCT", GeorefChoice::product}})
        if (EQUAL(text.c_str(), name))
            return choice;
    throw loader::Error("GEOREF=" + text + ": is none of AUTO, MODEL, RPC, GCP, PRODUCT, MAP");
}

Georeference::Georeference(std::shared_ptr<const OpenedProduct> opened, const ProductImage* image,
                           const std::optional<product::GridPart>& part, GeorefChoice choice)
    : opened_(std::move(opened)), image_(image), part_(part), choice_(choice) {
    if (choice_ == GeorefChoice::product)
        find();
    else if (choice_ != GeorefChoice::automatic)
        require();
}

/// Fails now, not later, if something asked for by name is not available.
void Georeference::require() const {
    const auto refuse = [&](const char* wanted) {
        const std::string why = place_ ? place_->remarks : "";
        throw loader::Error(opened_->name() + ": there is no " + wanted +
                            (why.empty() ? "" : " (" + why + ")"));
    };
    place();
    if (choice_ == GeorefChoice::model &&
        (!place_ || place_->source != product::PlaceSource::model))
        refuse("sensor model");
    if (choice_ == GeorefChoice::gcp && (find(), found_->gcps.count() == 0))
        refuse("tie point");
    if (choice_ == GeorefChoice::rpc && (findRpc(), rpc_->empty()))
        refuse("rational function");
}

product::Window Georeference::whole() const {
    if (part_)
        return {0, 0, part_->samples, part_->lines};
    return {0, 0, image_->samples()->width(), image_->samples()->height()};
}

std::shared_ptr<const product::Place> Georeference::place() const {
    if (!place_ && part_)
        place_ = std::make_shared<const product::Place>(
            product::placeOf(*opened_, *part_, opened_->name()));
    else if (!place_ && image_ && image_->samples() && !opened_->layerNames().empty())
        place_ = std::make_shared<const product::Place>(
            product::placeOf(*opened_, opened_->layerNames().front(), image_->samples()->width(),
                             image_->samples()->height()));
    return place_;
}

void Georeference::take(const kimg::Georeferencing& found) const {
    found_->geoTransform = found.geoTransform;
    found_->system = systemOf(found.wkt);
    found_->gcps = GcpList(found.gcps);
}

void Georeference::findStated() const {
    const auto& ties = opened_->stated().tiePoints();
    if (image_ && image_->samples()) {
        const kimg::Georeferencing file = statedByFile(*image_);
        if (file.geoTransform || ties.empty())
            return take(file.geoTransform || file.wkt.empty()
                            ? file
                            : product::withoutBreaks(product::gcpsOf(
                                  product::statedBy(file, image_->file).ties, whole())));
    }
    product::Window window; // the product's tie points count in the bursts' common grid
    if (part_)
        window = {static_cast<std::uint32_t>(part_->sample),
                  static_cast<std::uint32_t>(part_->line), part_->samples, part_->lines};
    take(product::withoutBreaks(product::gcpsOf(ties, window)));
}

void Georeference::find() const {
    if (found_)
        return;
    found_.emplace();
    if (choice_ == GeorefChoice::rpc)
        return;
    if (choice_ == GeorefChoice::product)
        return findStated();
    if (place())
        take(product::placementOf(*place_, whole()));
}

void Georeference::findRpc() const {
    if (rpc_)
        return;
    rpc_.emplace();
    if (choice_ == GeorefChoice::gcp)
        return;
    if (choice_ == GeorefChoice::product) {
        if (!part_ || !part_->burst) // they count in the bursts' common grid
            *rpc_ = opened_->stated().rationalFunctions();
        if (rpc_->empty() && image_ && image_->samples())
            *rpc_ = statedByFile(*image_).rpc;
        return;
    }
    std::string remarks;
    if (place())
        *rpc_ = product::publishedRpc(*opened_, *place_, whole(), remarks);
    if (!remarks.empty())
        warn(loader::Error(opened_->name() + ": " + remarks));
}

const std::optional<std::array<double, 6>>& Georeference::geoTransform() const {
    gcps();
    return found_->geoTransform;
}

const OGRSpatialReference& Georeference::system() const {
    gcps();
    return found_->system;
}

const GcpList& Georeference::gcps() const {
    try {
        find();
    } catch (const loader::Error& error) {
        warn(error);
    }
    return found_->gcps;
}

const product::RpcItems& Georeference::rpc() const {
    try {
        findRpc();
    } catch (const loader::Error& error) {
        warn(error);
    }
    return *rpc_;
}

} // namespace rf_sar_gdal
