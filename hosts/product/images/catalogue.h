// SPDX-License-Identifier: MIT
#pragma once

#include "product/bursts/grid_part.h"
#include "product/opened_product.h"

namespace product {

/// One thing that a product can be opened as, with one band.
struct Entry {
    enum class Kind {
        layer,          ///< a layer of the plug-in: magnitude or phase
        complexSamples, ///< as stored
        calibrated,     ///< power
        noise,          ///< noise-equivalent sigma nought
        incidence,
        magnitude, ///< of an image that no layer of the plug-in shows
        phase,     ///< likewise, of complex samples
        mosaic,    ///< power of all bursts in their common grid
    };

    Kind kind = Kind::layer;
    std::string name;        ///< "C_HH_MAGNITUDE_1", "COMPLEX_HH", "SIGMA_NOUGHT_HH", ...
    std::string description; ///< "HH magnitude, UInt16"
    std::string pole;        ///< what the image holds, whatever the layer is called; "" for all
    const ProductImage* image = nullptr; ///< of the opened product
    CalibrationTable table; ///< of calibrated entries; of mosaics one of those that serve
    NoiseTable noise;       ///< of noise entries
    Radiometry radiometry = Radiometry::sigmaNought; ///< of calibrated entries and mosaics; where
                                                     ///< the table is of another, by the angle
    std::string allPoles = {}; ///< the name that stands for it and those of other polarizations
    bool decibels = false;     ///< of its power
    bool denoised = false;     ///< the product's noise level is subtracted from its power

    /// @return whether neighbours are averaged by their power.
    bool isMagnitude() const;
    bool isPhase() const;
    bool isPower() const { return kind == Kind::calibrated || kind == Kind::mosaic; }
    /// @return whether it shows a burst of many, beyond the one that the layers show.
    bool isOfBurst() const { return kind != Kind::layer && image && image->burst; }
};

/// What is done with power before it is shown.
struct Treatment {
    bool decibels =
        false; ///< 10 log10; of magnitudes and complex samples 20 log10 of the magnitude
    bool denoised = false; ///< the product's noise level is subtracted
};

/// @return as partOf of its image; for mosaics the whole grid.
std::optional<GridPart> partOf(const OpenedProduct& opened, const Entry& entry);

/// @return everything that the product can be opened as, in the order in which it is numbered:
///         layers, magnitudes and phases that they lack, complex samples, calibrated images, noise,
///         incidence angles. Of bursts: layers, mosaics, then each burst's, named "…@beam/burst".
///         Last the calibrated ones once more, in decibels.
std::vector<Entry> catalogue(const OpenedProduct& opened);

/// @param name  of an entry, in any case, or of all polarizations of some: "SIGMA_NOUGHT".
/// @throws loader::Error naming the product, which does not have it.
std::vector<Entry> entriesNamed(const OpenedProduct& opened, const std::vector<Entry>& entries,
                                const std::string& name);

/// @param names  as above; none for the product's first entry. Image files are only looked at where
///        a name asks for more than a layer of the plug-in, whose image and pole are left out.
/// @throws loader::Error naming what the product does not have, and as treated().
std::vector<Entry> entriesOf(const OpenedProduct& opened, const std::vector<std::string>& names,
                             const Treatment& treatment = {});

/// @throws loader::Error naming an entry that has no power to be treated so.
Entry treated(Entry entry, const Treatment& treatment);
/// @return the same, not in decibels.
Entry linear(Entry entry);

/// @return the first part of the names of calibrated entries: "SIGMA_NOUGHT", ...
std::string nameOf(Radiometry kind);

/// @param name  of any entry.
/// @return what its samples are: "sigma nought", "none: samples as the product stores them", ...
std::string calibrationOf(const std::string& name);

/// The entries that a viewer shows best: decibels of the first kind of power, of all polarizations;
/// without any, magnitudes.
/// @param entries  of which all can be opened.
std::vector<Entry> clearest(const std::vector<Entry>& entries);

/// The entries that make up the bands of the product as a whole: complex samples where the images
/// are complex, else all layers; of bursts the mosaics of sigma nought.
std::vector<Entry> wholeProduct(const std::vector<Entry>& entries);

} // namespace product
