// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"
#include "product/opened_product.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

using MetadataItems = std::vector<std::pair<std::string, std::string>>;

/// What a file that is made of a product keeps of it, as metadata of a GeoTIFF: satellite, mode,
/// times, identity, pass, look side, incidence, what its samples are, and the program that made it;
/// the main ones also as the tags that every program for images shows.
/// @param bands  what the file holds; none where its maker tells.
MetadataItems originMetadata(const product::OpenedProduct& opened,
                             std::span<const kimg::TiffBand> bands, bool noiseRemoved);
