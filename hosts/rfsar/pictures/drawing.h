// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/picture_writer.h"
#include "product/images/catalogue.h"

#include <string>
#include <vector>

/// What picture of a product is asked for.
struct DrawingRequest {
    std::string layer;             ///< of the product's catalogue; empty: the product's first
    std::uint32_t longSide = 1024; ///< pixels
    bool asStored = false;         ///< in the order of the file's lines and samples
    bool northUp = false;          ///< on a map
    product::Treatment treatment;
    bool inColour = false;
    std::string rgb; ///< "HH,HV,HH/HV"; empty for what suits the product's polarizations
    bool graticule = false;
    double graticuleStepDeg = 0; ///< 0 for one that suits
    bool scaleBar = false, northArrow = false;
};

struct Drawing {
    kimg::Picture picture; ///< grey, or RGB in colour and under marks
    std::string remark;    ///< how the image lies in it
    std::vector<std::string> warnings;
};

/// Reads and draws a product, with progress. Without a place on the ground the picture is as
/// stored, unless a map or marks are asked for.
/// @throws loader::Error naming the file or layer and the reason.
Drawing draw(const std::shared_ptr<const product::OpenedProduct>& opened,
             const DrawingRequest& request);
