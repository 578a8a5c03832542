#pragma once

#include "loader/product.h"

namespace product {

/// Where a layer lies: what the plug-in tells, or the sensor model of a polar-format grid, which
/// the plug-in leaves to the tie points of the image file.
/// @return remarks also tell why such a grid could not be used.
/// @throws loader::Error as loader::readGeoreferencing.
loader::Georeferencing georeferencingOf(const loader::Layer& layer);

} // namespace product
