// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"
#include "product/place/place.h"
#include "product/radiometry/column_profile.h"

#include <optional>

namespace product {

/// Incidence angles of an image, from the product's own table or else from the sensor model: the
/// angle between the line of sight and the ellipsoid's normal, where the pixel meets the height of
/// the scene. Constant; any thread may use it.
class Incidence {
public:
    /// @param image  whose file can be opened.
    /// @throws loader::Error naming the table's file when it is damaged, or the product when that
    ///         image has neither a table nor a model.
    Incidence(const OpenedProduct& opened, const ProductImage& image);

    /// @return degrees along a line. Computed values are dense enough to interpolate with an error
    ///         below 1e-5 degrees.
    /// @throws loader::Error where a pixel does not meet the ground.
    ColumnProfile along(std::uint32_t line) const;

private:
    const ColumnProfile& computed(std::uint32_t line) const;

    std::string name_;
    std::uint32_t width_, height_;
    std::optional<ColumnProfile> table_;
    Place place_;                     ///< with a sensor model; used without table
    KeptByName<ColumnProfile> lines_; ///< computed so far
};

/// @return the factors from power of one kind to power of another, for angles in degrees.
ColumnProfile conversion(Radiometry from, Radiometry to, ColumnProfile incidence);

} // namespace product
