// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

namespace product {

/// A raster computed from an image file of the product.
class ImageRaster : public Raster {
protected:
    /// @param entry  whose image can be opened.
    ImageRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry, About about)
        : Raster(opened, filledIn(*opened, entry, std::move(about))),
          samples_(*entry.image->samples()) {}

    ImageSamples::Window blockWindow(std::uint32_t row, std::uint32_t column) const {
        return {column * blockWidth(), row * blockHeight(), blockWidth(), blockHeight()};
    }
    const ImageSamples& samples() const { return samples_; }

    /// Description of a raster whose values are computed line by line.
    static About aboutLines(const Entry& entry, const char* unit) {
        About about;
        about.unit = unit;
        about.quantity = Quantity::value;
        about.blockWidth = entry.image->samples()->width();
        about.blockHeight = 1;
        return about;
    }

private:
    static About filledIn(const OpenedProduct& opened, const Entry& entry, About about) {
        about.name = entry.name;
        about.part = partOf(opened, entry);
        about.gridLayer = opened.layerOf(*entry.image);
        const ImageSamples& samples = *entry.image->samples();
        about.width = samples.width();
        about.height = samples.height();
        if (about.blockWidth == 0) {
            about.blockWidth = samples.blockWidth();
            about.blockHeight = samples.blockHeight();
        }
        return about;
    }

    const ImageSamples& samples_;
};

} // namespace product
