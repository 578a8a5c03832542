#pragma once

#include "kimg/tiff_writer.h"
#include "product/images/raster.h"

/// @return how overviews of an image are made.
inline kimg::TiffOverviews overviewsOf(const product::Raster& raster) {
    switch (raster.mean()) {
    case product::Raster::Mean::ofPower:
        return kimg::TiffOverviews::meanPower;
    case product::Raster::Mean::ofValues:
        return kimg::TiffOverviews::mean;
    case product::Raster::Mean::none:
        break;
    }
    return kimg::TiffOverviews::nearest;
}
