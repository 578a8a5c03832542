// SPDX-License-Identifier: MIT
#include "core/model.h"

#include "sarm/model.h"

#include <algorithm>
#include <limits>

namespace {

namespace py = pybind11;
using points::Broadcast;

constexpr std::size_t together = 1024; // points that fit the nearest cache
constexpr double none = std::numeric_limits<double>::quiet_NaN();

} // namespace

PlaceModel::PlaceModel(const std::shared_ptr<const product::OpenedProduct>& opened)
    : file_(opened->name()) {
    const product::ProductImage* image = opened->firstImage();
    std::string name = image ? opened->layerOf(*image) : "";
    if (name.empty() && !opened->layerNames().empty())
        name = opened->layerNames().front();
    const loader::Layer layer = opened->product.openLayer(name);
    place_ = product::Locator(*opened, layer).place();
}

py::tuple PlaceModel::groundToImage(const Numbers& lon, const Numbers& lat,
                                    const Numbers& height) const {
    const Broadcast ground({lon, lat, height});
    auto sample = ground.made(), line = ground.made();
    double* const samples = sample.mutable_data();
    double* const lines = line.mutable_data();
    {
        const py::gil_scoped_release released;
        const product::Locator locator(place_);
        const auto& [x, y, z] = ground.columns();
        std::array<KxfrMapPoint, together> from;
        std::array<KxfrPixel, together> to;
        for (std::size_t start = 0; start < ground.size(); start += together) {
            const std::size_t count = std::min(together, ground.size() - start);
            for (std::size_t i = 0; i < count; ++i)
                from[i] = {x[start + i], y[start + i], z[start + i]};
            locator.toImage({from.data(), count}, {to.data(), count});
            for (std::size_t i = 0; i < count; ++i) {
                samples[start + i] = to[i].sample;
                lines[start + i] = to[i].line;
            }
        }
    }
    return py::make_tuple(sample, line);
}

py::tuple PlaceModel::imageToGround(const Numbers& sample, const Numbers& line,
                                    const Numbers& height) const {
    const Broadcast image({sample, line, height});
    auto lon = image.made(), lat = image.made(), up = image.made();
    double* const lons = lon.mutable_data();
    double* const lats = lat.mutable_data();
    double* const heights = up.mutable_data();
    {
        const py::gil_scoped_release released;
        const product::Locator locator(place_);
        const auto& [x, y, z] = image.columns();
        std::array<KxfrPixel, together> from;
        std::array<KxfrMapPoint, together> to;
        for (std::size_t start = 0; start < image.size(); start += together) {
            const std::size_t count = std::min(together, image.size() - start);
            for (std::size_t i = 0; i < count; ++i) {
                from[i] = {x[start + i], y[start + i]};
                to[i] = {0, 0, z[start + i]};
            }
            locator.toGround({from.data(), count}, {to.data(), count});
            for (std::size_t i = 0; i < count; ++i) {
                lons[start + i] = to[i].x;
                lats[start + i] = to[i].y;
                heights[start + i] = to[i].heightM;
            }
        }
    }
    return py::make_tuple(lon, lat, up);
}

py::array_t<double> PlaceModel::incidence(const Numbers& sample, const Numbers& line,
                                          const Numbers& height) const {
    const Broadcast image({sample, line, height});
    auto angle = image.made();
    double* const angles = angle.mutable_data();
    const py::gil_scoped_release released;
    const auto& [x, y, z] = image.columns();
    for (std::size_t i = 0; i < image.size(); ++i)
        angles[i] = sensor() ? sensor()->incidenceDeg({x[i], y[i]}, z[i]).value_or(none) : none;
    return angle;
}

std::optional<std::pair<double, double>> PlaceModel::lineTimes() const {
    const auto* model = dynamic_cast<const sarm::Model*>(sensor());
    if (!model)
        return std::nullopt;
    const sarm::RadarGrid& grid = model->parameters().grid;
    return std::pair(model->parameters().startTimeS + grid.timeOfLine0S, grid.timePerLineS);
}

std::optional<py::array_t<double>> PlaceModel::slantRanges(const Numbers& samples) const {
    const auto* model = dynamic_cast<const sarm::Model*>(sensor());
    if (!model)
        return std::nullopt;
    const sarm::RadarGrid& grid = model->parameters().grid;
    py::array_t<double> ranges(samples.size());
    for (py::ssize_t i = 0; i < samples.size(); ++i)
        ranges.mutable_at(i) = sarm::slantRangeAt(
            grid, grid.rangeOfSample0M + samples.data()[i] * grid.rangePerSampleM);
    return ranges;
}
