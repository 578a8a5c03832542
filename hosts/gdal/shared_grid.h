#pragma once

#include "gcps.h"
#include "product/opened_product.h"
#include "product/rpc_items.h"

#include <optional>
#include <string>
#include <vector>

namespace rf_sar_gdal {

using product::OpenedProduct;
using product::ProductImage;

/// The sensor model of a product's images, which share one grid.
struct SensorModel {
    std::optional<sarm::Model> model; ///< none for images that are not in a radar's grid
    std::string why;                  ///< there is none, as far as the plug-in tells

    /// @return the model's rational polynomials; empty when they cannot be fitted.
    product::RpcItems rpc() const;
    /// @return a grid of ties over the image at the height of the scene, in longitude and latitude.
    std::vector<GroundTie> ties(std::uint32_t width, std::uint32_t height) const;
};

/// Rebuilds the model from what the plug-in tells of its layers. Never throws for want of one.
SensorModel sensorModel(const OpenedProduct& opened);

} // namespace rf_sar_gdal
