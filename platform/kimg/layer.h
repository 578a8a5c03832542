// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/reported.h"
#include "kimg/dataset_pool.h"

#include <cstdint>
#include <string>

/// Everything but `users` is fixed when the layer is opened, so that reads need no lock.
struct KIMG_LAYER {
    kimg::ImageFile file;
    std::u16string fileName;
    std::string key;         ///< its key in the table of layers
    std::int64_t users = 0;  ///< opens minus closes; guarded by the table's lock
    int band = 0;            ///< GDAL's, from 1
    int storedType = 0;      ///< GDALDataType of the band
    bool signedByte = false; ///< stored bytes are signed, although GDAL's type does not say so
    bool imaginary = false;  ///< the second layer of a complex band
    std::uint32_t pixelType = 0;
    bool storedAsIs = false;  ///< stored pixels have pixelType, byte for byte
    bool interleaved = false; ///< the blocks hold other bands as well, pixel after pixel
    double fill = 0;
    int width = 0, height = 0;           ///< pixels
    int blockWidth = 0, blockHeight = 0; ///< pixels
};
