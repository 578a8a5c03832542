// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// One grey or colour channel of a picture: an image, or the ratio of two.
struct Channel {
    std::unique_ptr<product::Raster> raster;  ///< linear even for decibels: averages are of power
    std::unique_ptr<product::Raster> divisor; ///< null for none
    bool decibels = false;                    ///< whether to show decibels
};

/// @param layer  in any case; empty for the product's first.
/// @throws loader::Error naming product and layer.
Channel greyChannel(const std::shared_ptr<const product::OpenedProduct>& opened,
                    const std::string& layer, const product::Treatment& treatment);

/// @param rgb  "HH,HV,HH/HV"; empty for the default of the product's polarizations.
/// @return three channels, of samples or, if noise is to be subtracted, of calibrated power.
/// @throws loader::Error naming the product and what it lacks.
std::vector<Channel> colourChannels(const std::shared_ptr<const product::OpenedProduct>& opened,
                                    const std::string& rgb, const product::Treatment& treatment);
