// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"
#include "product/opened_product.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

using MetadataItems = std::vector<std::pair<std::string, std::string>>;

/// Makes the GeoTIFF metadata that record a file's origin: satellite, mode, times, product id,
/// pass, look side, incidence, the kind of samples, and the program that made it. The main items
/// are also written as TIFF tags that every image program shows.
/// @param bands  the file's bands; empty if the caller describes the samples itself.
MetadataItems originMetadata(const product::OpenedProduct& opened,
                             std::span<const kimg::TiffBand> bands, bool noiseRemoved);
