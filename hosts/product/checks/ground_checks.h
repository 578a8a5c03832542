// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/locator.h"

#include <string>
#include <vector>

namespace product {

/// Differences between computed and stated image positions, over many points.
struct Residuals {
    std::size_t points = 0;              ///< with a computed position
    std::size_t unanswered = 0;          ///< without one
    double lineRms = 0, lineMax = 0;     ///< lines
    double sampleRms = 0, sampleMax = 0; ///< samples
    double groundRmsM = 0; ///< from the stated point to the ground point of its image position

    /// "1364 points: line rms 0.001 (max 0.002), ..."
    std::string text() const;
    double worst() const;
};

/// Compares a layer's transform with the product's geolocation grid. No points when the product has
/// none.
/// @throws loader::Error naming the file when the grid cannot be read.
Residuals againstTiePoints(const Locator& locator, const StatedProduct& product);

/// Compares the transform with the tie points of an image file, if they are longitudes and
/// latitudes.
/// @throws loader::Error naming the file when it cannot be read.
Residuals againstImageTies(const Locator& locator, const std::string& imageFile);

/// Compares the map coordinates of an image's corners with those that the product states. No points
/// when the product states none or the image file has none.
/// @throws loader::Error naming the file when it cannot be read.
Residuals againstStatedMap(const StatedProduct& product, const std::string& imageFile);

/// Differences between rational functions and other positions.
struct RpcResiduals {
    Residuals residuals;       ///< with the coefficient order that fits better
    bool earlierOrder = false; ///< that is the order of RPC00A
};
/// Compares the product's own rational functions with its geolocation grid. @return no points when
/// the product lacks one of the two.
/// @throws loader::Error naming the file when one of them cannot be read.
RpcResiduals ownRpcAgainstTiePoints(const StatedProduct& product);

/// Compares a sensor model with the product's own rational functions, over the image and at heights
/// around their height offset. No points when the product states none.
RpcResiduals againstOwnRpc(const Locator& locator, const StatedProduct& product,
                           std::uint32_t width, std::uint32_t height);

/// Difference between a layer's transform and the position that the product states for one pixel;
/// NaN where the transform has no answer.
struct PointMiss {
    double lines = 0, samples = 0, groundM = 0;
};
PointMiss againstPoint(const Locator& locator, const TiePoint& stated);

} // namespace product
