// SPDX-License-Identifier: MIT
#pragma once

#include <pybind11/numpy.h>

#include <array>
#include <utility>

/// Numpy arrays, broadcast against each other point by point.
namespace points {

using Numbers = pybind11::array_t<double, pybind11::array::forcecast>;

/// One array's number for each point of the broadcast shape.
struct Column {
    const double* first = nullptr;
    std::size_t step = 0; ///< 0: one number for all points
    double operator[](std::size_t i) const { return first[i * step]; }
};

/// Three arrays broadcast to one shape; a single number holds for all points.
class Broadcast {
public:
    /// @throws pybind11::value_error when the shapes do not fit each other.
    explicit Broadcast(const std::array<Numbers, 3>& arrays);

    const std::array<Column, 3>& columns() const { return columns_; }
    std::size_t size() const { return size_; }
    /// @return an array of the broadcast shape.
    pybind11::array_t<double> made() const { return pybind11::array_t<double>(shape_); }

private:
    std::array<Numbers, 3> kept_;
    std::array<Column, 3> columns_;
    std::vector<pybind11::ssize_t> shape_;
    std::size_t size_ = 1;
};

} // namespace points
