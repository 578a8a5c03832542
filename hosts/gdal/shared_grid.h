#pragma once

#include "gcps.h"
#include "product/opened_product.h"
#include "product/place/rpc_items.h"

#include <string>
#include <vector>

namespace rf_sar_gdal {

using product::OpenedProduct;
using product::ProductImage;

/// Where a product's images lie, which share one grid.
struct SharedGrid {
    loader::Georeferencing place; ///< remarks tell why there is no sensor model

    /// @return null for images that are not in a radar's grid.
    const sarm::SensorModel* model() const {
        return place.transform ? place.transform->sensorModel() : nullptr;
    }
    /// @return the model's rational polynomials; empty when they cannot be fitted.
    product::RpcItems rpc() const;
    /// @return a grid of ties over the image at the height of the scene, in longitude and latitude.
    std::vector<GroundTie> ties(std::uint32_t width, std::uint32_t height) const;
};

/// Never throws for want of a model.
SharedGrid sharedGrid(const OpenedProduct& opened);

} // namespace rf_sar_gdal
