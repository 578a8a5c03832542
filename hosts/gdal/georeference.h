#pragma once

#include "gcps.h"
#include "shared_grid.h"

#include <array>
#include <optional>
#include <string>

namespace rf_sar_gdal {

/// What the open option GEOREF asks for; MAP is map_view.h's and takes what is automatic.
enum class GeorefChoice {
    automatic, ///< geotransform, or else tie points and rational functions, each from the best
    model,     ///< tie points and rational functions computed from the sensor model
    rpc,       ///< rational functions alone
    gcp,       ///< tie points alone
    product,   ///< what the product itself states, nothing computed
};

/// @param text  of the option, any case; "" is automatic.
/// @throws loader::Error for any other text.
GeorefChoice parseGeorefChoice(const std::string& text);

/// Where an image lies on the ground, in GDAL's terms; all empty where nothing is known.
struct Georeference {
    std::optional<std::array<double, 6>> geoTransform;
    GcpList gcps;
    OGRSpatialReference system; ///< of the transform, or of the GCPs
};

/// @param image  the first that can be opened; null when there is none.
/// @throws loader::Error naming the file when the product's own statements are damaged, or when
///         what is asked for is not to be had.
Georeference georeference(const OpenedProduct& opened, const ProductImage* image,
                          GeorefChoice choice);

/// @return rational functions: the model's, or the product's own; empty where there are none, or
///         none is asked for.
/// @throws loader::Error as georeference.
product::RpcItems rationalFunctions(const OpenedProduct& opened, const ProductImage* image,
                                    GeorefChoice choice);

} // namespace rf_sar_gdal
