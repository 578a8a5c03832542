// SPDX-License-Identifier: MIT
#pragma once

#include "dataset.h"

#include <memory>

namespace rf_sar_gdal {

/// A product drawn on the map while it is read: each of the map's pixels shows the nearest one of
/// the image, where it lies (product::placeOf) at the height of the scene or over an elevation
/// model. Longitudes and latitudes; UTM across the antimeridian, UPS beyond 84 degrees.
/// @param opened     what is drawn.
/// @param elevation  without paths for the height of the scene.
/// @return the drawing, which keeps `opened` open; `opened` itself where it is a map already.
/// @throws loader::Error naming the product when its place is not known, or the elevation model.
std::unique_ptr<GDALDataset> onTheMap(std::unique_ptr<SarDataset> opened,
                                      const kimg::ElevationSource& elevation);

} // namespace rf_sar_gdal
