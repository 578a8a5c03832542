#pragma once

#include "product/opened_product.h"

namespace product {

/// Where a layer lies: what the plug-in tells, or the sensor model of a grid that the product
/// states and the plug-in leaves to the tie points of the image file.
/// @return remarks also tell why such a grid could not be used.
/// @throws loader::Error as loader::readGeoreferencing.
loader::Georeferencing georeferencingOf(const OpenedProduct& opened, const loader::Layer& layer);

} // namespace product
