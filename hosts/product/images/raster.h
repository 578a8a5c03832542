// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/sample_type.h"
#include "product/bursts/grid_part.h"
#include "product/images/catalogue.h"
#include "product/place/placement.h"

#include <memory>
#include <string>
#include <vector>

namespace product {

/// One image of a product, read block by block: a layer of the plug-in, or an image that the hosts
/// compute from the image files. Keeps its product open. Reads may run on many threads.
class Raster {
public:
    virtual ~Raster() = default;
    Raster(const Raster&) = delete;
    Raster& operator=(const Raster&) = delete;

    /// What the samples are. This decides how they are averaged: magnitudes and decibels in power,
    /// complex samples and phases not at all.
    enum class Quantity { magnitude, power, decibels, complexSamples, phase, value };

    const OpenedProduct& opened() const { return *opened_; }
    const std::string& name() const { return about_.name; }
    /// "dB", "degree", "radian", or "1" for pure numbers.
    const std::string& unit() const { return about_.unit; }
    Quantity quantity() const { return about_.quantity; }
    kimg::SampleType type() const { return about_.type; }
    std::size_t sampleBytes() const { return kimg::sampleBytes(about_.type); }
    std::uint32_t width() const { return about_.width; }
    std::uint32_t height() const { return about_.height; }
    std::uint32_t blockWidth() const { return about_.blockWidth; }
    std::uint32_t blockHeight() const { return about_.blockHeight; }
    std::size_t blockBytes() const {
        return sampleBytes() * about_.blockWidth * about_.blockHeight;
    }
    /// @return the image's place on the ground.
    /// @throws loader::Error as placeOf.
    Place findPlace() const;

    /// Reads one block: blockWidth * blockHeight samples, line by line, 0 beyond the image.
    /// @throws loader::Error naming the file or layer and the reason.
    virtual void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const = 0;

    /// @throws loader::Error naming window and image size when the window is empty or leaves the
    ///         image.
    void requireInside(const Window& window) const;

protected:
    struct About {
        std::string name, unit = "1", gridLayer;
        Quantity quantity = Quantity::power;
        kimg::SampleType type = kimg::SampleType::float32;
        std::uint32_t width = 0, height = 0, blockWidth = 0, blockHeight = 0;
        std::optional<GridPart> part =
            std::nullopt; ///< of the common grid of bursts, for images made of these
    };
    Raster(std::shared_ptr<const OpenedProduct> opened, About about)
        : opened_(std::move(opened)), about_(std::move(about)) {}
    /// For rasters that replace another raster.
    static std::shared_ptr<const OpenedProduct> productOf(const Raster& raster) {
        return raster.opened_;
    }
    static About aboutOf(const Raster& raster) { return raster.about_; }

private:
    std::shared_ptr<const OpenedProduct> opened_;
    About about_;
};

/// Opens an entry of the product's catalogue.
/// @throws loader::Error naming the file when the entry's image or tables cannot be opened.
std::unique_ptr<Raster> openRaster(const std::shared_ptr<const OpenedProduct>& opened,
                                   const Entry& entry);

/// @return the entries without those of calibration, noise and incidence that cannot be opened
///         because their tables or models are missing or damaged.
std::vector<Entry> available(const std::shared_ptr<const OpenedProduct>& opened,
                             std::vector<Entry> entries);

/// Opens the entries that entriesOf() finds.
/// @throws loader::Error as both.
std::vector<std::unique_ptr<Raster>> openRasters(const std::shared_ptr<const OpenedProduct>& opened,
                                                 const std::vector<std::string>& names,
                                                 const Treatment& treatment = {});

} // namespace product
