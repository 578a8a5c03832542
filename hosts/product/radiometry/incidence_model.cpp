#include "product/radiometry/incidence_model.h"

namespace product {
namespace {

constexpr std::uint32_t columnsApart = 32;

Place placeOfLayer(const OpenedProduct& opened, const std::string& layer) {
    Place found = placeOf(opened, opened.product.openLayer(layer));
    if (found.source != PlaceSource::model)
        throw loader::Error(opened.name() +
                            ": there is no sensor model to compute incidence "
                            "angles from" +
                            (found.remarks.empty() ? "" : ": " + found.remarks));
    return found;
}

} // namespace

IncidenceModel::IncidenceModel(const OpenedProduct& opened, const std::string& layer)
    : name_(opened.name()), place_(placeOfLayer(opened, layer)) {}

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
