// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/kimg.h"
#include "rf_platform_api.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// An image's georeferencing as its file states it. Any thread, no exceptions.

/// Map information of an image with an affine georeferencing. Coordinates are in the image's
/// projection: x east or longitude, y north or latitude.
struct KIMG_MAP_INFO {
    char16_t* projectionName; ///< "Geographic (Lat/Lon)", the projection's own name, or "Unknown"
    double upperLeftX;        ///< centre of the first pixel of the first line
    double upperLeftY;
    double lowerRightX; ///< centre of the last pixel of the last line
    double lowerRightY;
    double pixelSizeX;   ///< length of a pixel along a line, positive
    double pixelSizeY;   ///< and across the lines, positive
    char16_t* unitsName; ///< "degrees", "meters", the unit's own name, or "Unknown"
};

/// @return a block of the host heap, freed with kimg_MapInfoFree; null without a report when the
///         image has no affine georeferencing, null with one when it cannot be read.
RF_PLATFORM_API KIMG_MAP_INFO* kimg_MapInfoRead(KIMG_LAYER* layer, KERR_REPORT** slot);

/// Frees the record and its names; null is allowed.
RF_PLATFORM_API void kimg_MapInfoFree(KIMG_MAP_INFO* info);

namespace kimg {

/// A tie between image and ground. (0, 0) is the outer corner of the first pixel.
struct GroundControlPoint {
    double pixel, line; ///< pixels from the corner
    double x, y, z;     ///< in the system that Georeferencing::wkt names
};

struct Georeferencing {
    /// x = t[0] + t[1] * pixel + t[2] * line, y = t[3] + t[4] * pixel + t[5] * line, with (0, 0)
    /// the outer corner of the first pixel.
    std::optional<std::array<double, 6>> geoTransform;
    std::vector<GroundControlPoint> gcps;
    /// The coordinate system of the transform, or of the GCPs when there is no transform: WKT2;
    /// empty when the file states none. x is east or longitude whatever axis order it names.
    std::string wkt;
    /// The rational polynomial coefficients as names and texts of the file ("LINE_OFF", ...).
    std::vector<std::pair<std::string, std::string>> rpc;
};

/// @return what the layer's file states, which may be nothing; nullopt with a report when the file
///         cannot be read.
RF_PLATFORM_API std::optional<Georeferencing> georeferencing(const KIMG_LAYER* layer,
                                                             KERR_REPORT** slot);

} // namespace kimg
