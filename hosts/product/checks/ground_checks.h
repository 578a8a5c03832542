// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/locator.h"

#include <string>
#include <vector>

namespace product {

/// How far positions in the image lie from where they are stated, over many points.
struct Residuals {
    std::size_t points = 0;              ///< that have an answer
    std::size_t unanswered = 0;          ///< that have none
    double lineRms = 0, lineMax = 0;     ///< lines
    double sampleRms = 0, sampleMax = 0; ///< samples
    double groundRmsM = 0; ///< m, from the stated point to where its image position leads

    /// "1364 points: line rms 0.001 (max 0.002), ..."
    std::string text() const;
    double worst() const;
};

/// The transform of a layer against the product's geolocation grid; no points when it has none.
/// @throws loader::Error naming the file when the grid cannot be read.
Residuals againstTiePoints(const Locator& locator, const StatedProduct& product);

/// The transform against the tie points that an image file carries, longitudes and latitudes only.
/// @throws loader::Error naming the file when it cannot be read.
Residuals againstImageTies(const Locator& locator, const std::string& imageFile);

/// The map coordinates of an image's corners against those that the product states; no
/// points when it states none, or the image carries none.
/// @throws loader::Error naming the file when it cannot be read.
Residuals againstStatedMap(const StatedProduct& product, const std::string& imageFile);

/// The product's own rational functions against its geolocation grid.
struct RpcResiduals {
    Residuals residuals;       ///< in the order that fits
    bool earlierOrder = false; ///< the coefficients stand in the order of RPC00A
};
/// @return no points when the product lacks one of the two.
/// @throws loader::Error naming the file when one of them cannot be read.
RpcResiduals ownRpcAgainstTiePoints(const StatedProduct& product);

/// A sensor model against the product's own rational functions, over the image and heights around
/// that of the functions; no points when the product states none.
RpcResiduals againstOwnRpc(const Locator& locator, const StatedProduct& product,
                           std::uint32_t width, std::uint32_t height);

/// How far the transform of a layer is from where the product says that one pixel lies; NaN where
/// it has no answer.
struct PointMiss {
    double lines = 0, samples = 0, groundM = 0;
};
PointMiss againstPoint(const Locator& locator, const TiePoint& stated);

} // namespace product
