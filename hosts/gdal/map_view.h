#pragma once

#include "dataset.h"

#include <memory>

namespace rf_sar_gdal {

/// A product drawn on the map while it is read: each pixel is looked up by the RPC of the sensor
/// model, nearest neighbour, or between tie points where there is no model.
/// @param opened     what is drawn, with what it knows of its place.
/// @param elevation  an elevation model, in m above the ellipsoid; "" for the height of the scene.
/// @return the drawing, which keeps `opened` open; `opened` itself where it is a map already.
/// @throws loader::Error naming the product when its place is not known, or the elevation model.
std::unique_ptr<GDALDataset> onTheMap(std::unique_ptr<SarDataset> opened,
                                      const std::string& elevation);

} // namespace rf_sar_gdal
