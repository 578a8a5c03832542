// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/picture_writer.h"
#include "product/images/catalogue.h"

#include <string>
#include <vector>

/// A user's request for a picture of a product.
struct DrawingRequest {
    std::string layer;             ///< a name of the product's catalogue; empty: the first
    std::uint32_t longSide = 1024; ///< pixels
    bool asStored = false;         ///< in the order of the file's lines and samples
    bool northUp = false;          ///< on a map
    product::Treatment treatment;
    bool inColour = false;
    std::string rgb; ///< "HH,HV,HH/HV"; empty for the default of the product's polarizations
    bool graticule = false;
    double graticuleStepDeg = 0; ///< 0: chosen automatically
    bool scaleBar = false, northArrow = false;
};

struct Drawing {
    kimg::Picture picture; ///< grey, or RGB in colour and under marks
    std::string remark;    ///< the orientation of the image
    std::vector<std::string> warnings;
};

/// Reads and draws a product, with progress. Without georeferencing the picture is as stored; a map
/// or marks are then an error.
/// @throws loader::Error naming the file or layer and the reason.
Drawing draw(const std::shared_ptr<const product::OpenedProduct>& opened,
             const DrawingRequest& request);
