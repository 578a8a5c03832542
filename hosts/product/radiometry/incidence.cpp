// SPDX-License-Identifier: MIT
#include "product/radiometry/incidence.h"

#include "product/radiometry/noise_tables.h"
#include "rf_constants.h"

#include <cmath>

namespace product {
namespace {

constexpr std::uint32_t columnsApart = 32, linesApart = 64;

Place modelOf(const OpenedProduct& opened, const std::string& layer) {
    Place found = placeOf(opened, opened.product.openLayer(layer));
    if (found.source != PlaceSource::model)
        throw loader::Error(opened.name() +
                            ": there is no sensor model to compute incidence "
                            "angles from" +
                            (found.remarks.empty() ? "" : ": " + found.remarks));
    return found;
}

/// The power of a kind where beta nought is 1.
double ofBeta(Radiometry kind, double incidenceDeg) {
    const double angle = incidenceDeg * constants::radiansPerDegree;
    switch (kind) {
    case Radiometry::sigmaNought:
        return std::sin(angle);
    case Radiometry::gamma:
        return std::tan(angle);
    case Radiometry::betaNought:
        break;
    }
    return 1;
}

} // namespace

Incidence::Incidence(const OpenedProduct& opened, const ProductImage& image)
    : name_(opened.name()), width_(image.samples()->width()), height_(image.samples()->height()) {
    if (opened.stated().incidenceFile().empty())
        place_ = modelOf(opened, opened.layerOf(image));
    else
        table_ = readIncidence(opened.stated(), columnsOf(opened.stated(), image));
}

const ColumnProfile& Incidence::computed(std::uint32_t line) const {
    return lines_.get(std::to_string(line), [&] {
        const sarm::SensorModel& model = *place_.transform->sensorModel();
        ColumnProfile profile{0, columnsApart, {}};
        for (std::uint32_t column = 0; column < width_ - 1 + columnsApart; column += columnsApart) {
            const auto angle =
                model.incidenceDeg({double(column), double(line)}, model.terrainHeightM());
            if (!angle)
                throw loader::Error(name_ + ": line " + std::to_string(line) + ", sample " +
                                    std::to_string(column) + " does not meet the ground");
            profile.values.push_back(*angle);
        }
        return profile;
    });
}

ColumnProfile Incidence::along(std::uint32_t line) const {
    if (table_)
        return *table_;
    const std::uint32_t before = line / linesApart * linesApart;
    ColumnProfile profile = computed(before);
    if (before == line)
        return profile;
    const std::uint32_t after = std::min(before + linesApart, height_ - 1);
    const ColumnProfile& next = computed(after);
    const double part = double(line - before) / (after - before);
    for (std::size_t i = 0; i < profile.values.size(); ++i)
        profile.values[i] += part * (next.values[i] - profile.values[i]);
    return profile;
}

ColumnProfile conversion(Radiometry from, Radiometry to, ColumnProfile incidence) {
    for (double& value : incidence.values)
        value = ofBeta(to, value) / ofBeta(from, value);
    return incidence;
}

} // namespace product
