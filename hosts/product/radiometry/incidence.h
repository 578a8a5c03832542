// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"
#include "product/place/place.h"
#include "product/radiometry/column_profile.h"

#include <optional>

namespace product {

/// Incidence angles of an image: the product's own table, or else computed from the sensor model,
/// between the line of sight and the ellipsoid's normal, where the pixel meets the height of the
/// scene. Constant; any thread.
class Incidence {
public:
    /// @param image  whose file can be opened.
    /// @throws loader::Error naming the table's file when it is damaged, or the product when there
    ///         is neither a table nor a model of that image.
    Incidence(const OpenedProduct& opened, const ProductImage& image);

    /// @return degrees along a line. Computed ones lie so close that the error between them stays
    ///         below 1e-5 degrees.
    /// @throws loader::Error where a pixel does not meet the ground.
    ColumnProfile along(std::uint32_t line) const;

private:
    const ColumnProfile& computed(std::uint32_t line) const;

    std::string name_;
    std::uint32_t width_, height_;
    std::optional<ColumnProfile> table_;
    Place place_;                     ///< with a sensor model, where there is no table
    KeptByName<ColumnProfile> lines_; ///< that were computed
};

/// @return power of one kind where that of another kind is 1, for angles in degrees.
ColumnProfile conversion(Radiometry from, Radiometry to, ColumnProfile incidence);

} // namespace product
