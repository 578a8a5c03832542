// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <string>

/// The products' tables as numpy arrays. Errors are loader::Error, naming the file.
namespace tables {

using Opened = std::shared_ptr<product::OpenedProduct>;

/// @return a dictionary for each entry of the product's catalogue: name, description, pole, kind
///         ("layer", "complex", "calibrated", "noise", "incidence"), width and height.
pybind11::list entries(const Opened& opened);

/// @return five arrays: lines, samples, longitudes, latitudes, heights.
pybind11::tuple tiePoints(const Opened& opened);

/// @param entry  name of a calibrated entry.
/// @return (offset, divisors): linear power is (sample squared + offset) / divisor of the column.
pybind11::tuple gains(const Opened& opened, const std::string& entry);

/// @param entry  name of a noise entry.
/// @return noise-equivalent sigma nought in dB, for every column.
pybind11::array_t<double> noise(const Opened& opened, const std::string& entry);

/// @return incidence angles in degrees along a line, for every column.
pybind11::array_t<float> incidence(const Opened& opened, std::uint32_t line);

} // namespace tables
