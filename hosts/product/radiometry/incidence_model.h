#pragma once

#include "product/opened_product.h"
#include "product/place/place.h"
#include "product/radiometry/column_profile.h"

#include <string>

namespace product {

/// Incidence angles computed from the sensor model, for products without a table of them: between
/// the line of sight and the ellipsoid's normal, where the pixel meets the height of the scene.
/// Constant after construction.
class IncidenceModel {
public:
    /// @throws loader::Error naming the product when there is no model of that layer.
    IncidenceModel(const OpenedProduct& opened, const std::string& layer);

    /// @return degrees along a line of an image of this width; linear between columns that lie
    ///         so close that the error stays below 1e-5 degrees.
    /// @throws loader::Error where a pixel does not meet the ground.
    ColumnProfile along(std::uint32_t line, std::uint32_t width) const;

private:
    std::string name_;
    Place place_; ///< with a sensor model
};

} // namespace product
