// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"
#include "output/origin_metadata.h"
#include "product/opened_product.h"
#include "product/place/locator.h"
#include "product/place/map_frame.h"
#include "product/radiometry/beta_nought.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <utility>
#include <vector>

/// What is to be told of a terrain-flattened image.
struct RtcAccount {
    std::vector<std::string> elevation; ///< files or folders
    std::string elevationHeights;       ///< from what they count
    std::string resampling;             ///< "" in the radar's own grid
    bool noiseRemoved = false, inDb = false;
    const product::MapFrame* frame = nullptr; ///< null in the radar's own grid
};

/// The product's own items and those of the flattening, for the file's metadata.
/// @throws loader::Error naming the file when the product's documents are damaged.
MetadataItems rtcMetadata(const product::OpenedProduct& opened, const product::Locator& locator,
                          const std::vector<product::BetaNought>& images, const RtcAccount& account);

/// A STAC item of a terrain-flattened image.
/// @param file  of the product; output  the image that the item lies beside.
/// @param warnings  receives what the item could not carry.
nlohmann::ordered_json rtcStacItem(const std::string& file, const std::string& output,
                                   const std::vector<kimg::TiffBand>& bands,
                                   const MetadataItems& metadata, const RtcAccount& account,
                                   std::vector<std::string>& warnings);
