#include "product/radiometry/incidence_model.h"

#include "product/place/polar_format.h"

namespace product {
namespace {

constexpr std::uint32_t columnsApart = 32;

Place placeOfLayer(const loader::Product& product, const std::string& layer) {
    Place found = placeOf(product.openLayer(layer));
    if (found.source != PlaceSource::model)
        throw loader::Error(product.name() +
                            ": there is no sensor model to compute incidence "
                            "angles from" +
                            (found.remarks.empty() ? "" : ": " + found.remarks));
    return found;
}

} // namespace

bool statesRadarGrid(const ProductDocument& document) {
    if (document.kind == ProductDocument::Kind::capella)
        return statesPolarFormat(document) ||
               !textAt(document.extended, "collect/image/image_geometry/range_to_first_sample")
                    .empty();
    const char* parent = document.kind == ProductDocument::Kind::rcm ? "imageReferenceAttributes"
                                                                     : "imageAttributes";
    return document.root
        .get_child_optional(std::string(parent) +
                            ".geographicInformation.geolocationGrid.imageTiePoint")
        .has_value();
}

IncidenceModel::IncidenceModel(const loader::Product& product, const std::string& layer)
    : name_(product.name()), place_(placeOfLayer(product, layer)) {}

ColumnProfile IncidenceModel::along(std::uint32_t line, std::uint32_t width) const {
    const sarm::SensorModel& model = *place_.transform->sensorModel();
    ColumnProfile profile{0, columnsApart, {}};
    for (std::uint32_t column = 0; column < width - 1 + columnsApart; column += columnsApart) {
        const auto angle =
            model.incidenceDeg({double(column), double(line)}, model.terrainHeightM());
        if (!angle)
            throw loader::Error(name_ + ": line " + std::to_string(line) + ", sample " +
                                std::to_string(column) + " does not meet the ground");
        profile.values.push_back(*angle);
    }
    return profile;
}

} // namespace product
