// SPDX-License-Identifier: MIT
#include "core/points.h"

#include <pybind11/stl.h>

#include <algorithm>

namespace points {
namespace py = pybind11;

Broadcast::Broadcast(const std::array<Numbers, 3>& arrays) {
    for (const Numbers& array : arrays)
        shape_.resize(std::max(shape_.size(), static_cast<std::size_t>(array.ndim())), 1);
    for (const Numbers& array : arrays)
        for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
            auto& common = shape_[shape_.size() - static_cast<std::size_t>(array.ndim() - axis)];
            const py::ssize_t own = array.shape(axis);
            if (own != common && own != 1 && common != 1)
                throw py::value_error("the arrays' shapes do not fit each other");
            if (own != 1)
                common = own;
        }
    for (const py::ssize_t axis : shape_)
        size_ *= static_cast<std::size_t>(axis);
    const py::module_ numpy = py::module_::import("numpy");
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const bool one = arrays[i].size() == 1;
        kept_[i] = one ? arrays[i]
                       : Numbers(numpy.attr("ascontiguousarray")(
                             numpy.attr("broadcast_to")(arrays[i], py::tuple(py::cast(shape_)))));
        columns_[i] = {kept_[i].data(), one ? 0U : 1U};
    }
}

} // namespace points
