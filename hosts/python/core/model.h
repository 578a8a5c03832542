// SPDX-License-Identifier: MIT
#pragma once

#include "core/points.h"
#include "product/opened_product.h"
#include "product/place/locator.h"

#include <memory>
#include <string>

/// The georeferencing of a product's images. Any thread may use it; points are computed without the
/// interpreter's lock.
class PlaceModel {
public:
    /// @throws loader::Error naming the product when it has no georeferencing.
    explicit PlaceModel(const std::shared_ptr<const product::OpenedProduct>& opened);

    const std::string& file() const { return file_; }
    double sceneHeightM() const { return place_->transform->sceneHeightM(); }
    bool usesHeight() const { return place_->usesHeight(); }

    using Numbers = points::Numbers;
    /// @return (sample, line).
    pybind11::tuple groundToImage(const Numbers& lon, const Numbers& lat,
                                  const Numbers& height) const;
    /// @return (lon, lat, height).
    pybind11::tuple imageToGround(const Numbers& sample, const Numbers& line,
                                  const Numbers& height) const;
    /// @return degrees.
    pybind11::array_t<double> incidence(const Numbers& sample, const Numbers& line,
                                        const Numbers& height) const;

    /// @return the first line's zero-Doppler time in seconds of the day, as the model uses it, and
    ///         the seconds from one line to the next; nothing without zero-Doppler times.
    std::optional<std::pair<double, double>> lineTimes() const;
    /// @return slant ranges in metres; nothing without a range grid.
    std::optional<pybind11::array_t<double>> slantRanges(const Numbers& samples) const;

private:
    const sarm::SensorModel* sensor() const { return place_->transform->sensorModel(); }

    std::string file_;
    std::shared_ptr<const product::Place> place_;
};
