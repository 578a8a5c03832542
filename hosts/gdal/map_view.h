// SPDX-License-Identifier: MIT
#pragma once

#include "dataset.h"

#include <memory>

namespace rf_sar_gdal {

/// Draws a product on the map while it is read. Each map pixel shows the nearest image pixel, by
/// the georeferencing of product::placeOf at the height of the scene or over an elevation model.
/// The map is in longitude and latitude, across the antimeridian in UTM, beyond 84 degrees in UPS.
/// @param opened     the product to draw.
/// @param elevation  without paths for the height of the scene.
/// @return the drawing, which keeps `opened` open; `opened` itself if it is a map already.
/// @throws loader::Error naming the product when it has no georeferencing, or the elevation model
///         when it cannot be used.
std::unique_ptr<GDALDataset> onTheMap(std::unique_ptr<SarDataset> opened,
                                      const kimg::ElevationSource& elevation);

} // namespace rf_sar_gdal
