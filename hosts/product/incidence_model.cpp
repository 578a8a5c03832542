#include "product/incidence_model.h"

#include "product/rpc_items.h"

namespace product {
namespace {

constexpr std::uint32_t columnsApart = 32;

sarm::Model modelOfLayer(const loader::Product& product, const std::string& layer) {
    const loader::Georeferencing found = product.openLayer(layer).georeferencing();
    auto model = found.transform ? modelOf(*found.transform) : std::nullopt;
    if (!model)
        throw loader::Error(product.name() +
                            ": there is no sensor model to compute incidence "
                            "angles from" +
                            (found.remarks.empty() ? "" : ": " + found.remarks));
    return *model;
}

} // namespace

bool statesRadarGrid(const ProductDocument& document) {
    if (document.kind == ProductDocument::Kind::capella)
        return !textAt(document.extended, "collect/image/image_geometry/range_to_first_sample")
                    .empty();
    const char* parent = document.kind == ProductDocument::Kind::rcm ? "imageReferenceAttributes"
                                                                     : "imageAttributes";
    return document.root
        .get_child_optional(std::string(parent) +
                            ".geographicInformation.geolocationGrid.imageTiePoint")
        .has_value();
}

IncidenceModel::IncidenceModel(const loader::Product& product, const std::string& layer)
    : name_(product.name()), model_(modelOfLayer(product, layer)) {}

ColumnProfile IncidenceModel::along(std::uint32_t line, std::uint32_t width) const {
    ColumnProfile profile{0, columnsApart, {}};
    for (std::uint32_t column = 0; column < width - 1 + columnsApart; column += columnsApart) {
        const auto angle =
            model_.incidenceDeg({double(column), double(line)}, model_.parameters().terrainHeightM);
        if (!angle)
            throw loader::Error(name_ + ": line " + std::to_string(line) + ", sample " +
                                std::to_string(column) + " does not meet the ground");
        profile.values.push_back(*angle);
    }
    return profile;
}

} // namespace product
