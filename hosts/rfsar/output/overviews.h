// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"
#include "output/console.h"
#include "output/interruption.h"
#include "product/images/raster.h"

/// @return the way to average an image for its overviews.
inline kimg::TiffOverviews overviewsOf(const product::Raster& raster) {
    using Quantity = product::Raster::Quantity;
    switch (raster.quantity()) {
    case Quantity::magnitude:
        return kimg::TiffOverviews::meanPower;
    case Quantity::power:
    case Quantity::decibels:
    case Quantity::value:
        return kimg::TiffOverviews::mean;
    case Quantity::complexSamples:
    case Quantity::phase:
        break;
    }
    return kimg::TiffOverviews::nearest;
}

/// Adds overviews and shows progress.
inline void addOverviews(kimg::TiffWriter& writer, const product::Raster& raster) {
    console::Progress progress("making overviews", 100);
    writer.addOverviews(overviewsOf(raster), [&](double done) {
        progress.advanceTo(static_cast<std::uint64_t>(100 * done));
        return !interruption::requested();
    });
    interruption::check();
}
