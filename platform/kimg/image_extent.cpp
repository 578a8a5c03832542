// SPDX-License-Identifier: MIT
#include "kimg/image_extent.h"

#include "kfio/kfio.h"
#include "kimg/layer.h"
#include "ktxt/ktxt.h"

#include <gdal.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

namespace {

/// @return 0 for a block that is not in the file: it was never written and reads as 0.
std::uint64_t blockItem(GDALRasterBandH band, const char* name, const std::string& block) {
    const char* const found =
        GDALGetMetadataItem(band, (std::string(name) + block).c_str(), "TIFF");
    const std::string_view text = found ? found : "";
    std::uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

/// @return the end of the last block of a band, in bytes of the file.
std::uint64_t endOfBlocks(GDALRasterBandH band) {
    int width = 1, height = 1;
    GDALGetBlockSize(band, &width, &height);
    const int columns = (GDALGetRasterBandXSize(band) + width - 1) / width;
    const int rows = (GDALGetRasterBandYSize(band) + height - 1) / height;
    std::uint64_t end = 0;
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column) {
            const std::string block = std::to_string(column) + '_' + std::to_string(row);
            if (const std::uint64_t offset = blockItem(band, "BLOCK_OFFSET_", block))
                end = std::max(end, offset + blockItem(band, "BLOCK_SIZE_", block));
        }
    return end;
}

} // namespace

namespace kimg {

std::optional<std::uint64_t> missingBytes(const KIMG_LAYER* layer, KERR_REPORT** slot) {
    return kerr::reported("kimg::missingBytes", slot, [&] {
        if (!layer)
            throw ImageError("there is no layer to read");
        const DatasetLease lease(layer->file);
        const kfio::ErrorCapture quiet; // silences formats that lack these items
        std::uint64_t end = 0;
        for (int band = 1; band <= GDALGetRasterCount(lease.handle()); ++band)
            end = std::max(end, endOfBlocks(GDALGetRasterBand(lease.handle(), band)));
        const std::uint64_t size = kfio::fileState(ktxt::narrow(kimg_LayerFileNameGet(layer))).size;
        return std::optional(end > size ? end - size : 0);
    });
}

} // namespace kimg
