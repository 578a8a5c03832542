// SPDX-License-Identifier: MIT
#pragma once

#include "product/bursts/grid_part.h"
#include "product/opened_product.h"

namespace product {

/// One image that a product can be opened as, with one band.
struct Entry {
    enum class Kind {
        layer,          ///< a layer of the plug-in: magnitude or phase
        complexSamples, ///< as stored
        calibrated,     ///< power
        noise,          ///< noise-equivalent sigma nought
        incidence,
        magnitude, ///< of an image that no plug-in layer shows
        phase,     ///< likewise, of complex samples
        mosaic,    ///< power of all bursts in their common grid
    };

    Kind kind = Kind::layer;
    std::string name;        ///< "C_HH_MAGNITUDE_1", "COMPLEX_HH", "SIGMA_NOUGHT_HH", ...
    std::string description; ///< "HH magnitude, UInt16"
    std::string pole; ///< the image's true polarization, whatever the layer's name says; "" for all
    const ProductImage* image = nullptr; ///< of the opened product
    CalibrationTable table; ///< of calibrated entries; for mosaics, one of the tables used
    NoiseTable noise;       ///< of noise entries
    Radiometry radiometry = Radiometry::sigmaNought; ///< of power; converted if the table's differs
    std::string allPoles = {}; ///< the name without polarization, which means all polarizations
    bool decibels = false;     ///< of its power
    bool denoised = false;     ///< the product's noise level is subtracted from its power

    /// @return whether samples are magnitudes, which are averaged in power.
    bool isMagnitude() const;
    bool isPhase() const;
    bool isPower() const { return kind == Kind::calibrated || kind == Kind::mosaic; }
    /// @return whether it shows one burst of several and is no plug-in layer.
    bool isOfBurst() const { return kind != Kind::layer && image && image->burst; }
};

/// How power is treated before it is returned.
struct Treatment {
    bool decibels =
        false; ///< 10 log10; of magnitudes and complex samples 20 log10 of the magnitude
    bool denoised = false; ///< the product's noise level is subtracted
};

/// @return partOf its image; the whole grid for mosaics.
std::optional<GridPart> partOf(const OpenedProduct& opened, const Entry& entry);

/// @return everything that the product can be opened as, in the order of its numbers: layers,
///         magnitudes and phases of images without layers, complex samples, calibrated images,
///         noise, incidence angles. For products of bursts: layers, mosaics, then the entries of
///         each burst, named "…@beam/burst". The calibrated entries in decibels come last.
std::vector<Entry> catalogue(const OpenedProduct& opened);

/// @param name  of an entry, in any case; without its polarization ("SIGMA_NOUGHT") it means all
///        polarizations.
/// @throws loader::Error naming the product when it has no such entry.
std::vector<Entry> entriesNamed(const OpenedProduct& opened, const std::vector<Entry>& entries,
                                const std::string& name);

/// @param names  as above; empty for the product's first entry. Image files are opened only if a
///        name is not a plug-in layer; otherwise image and pole of the entries are left empty.
/// @throws loader::Error naming the missing entry, or as treated().
std::vector<Entry> entriesOf(const OpenedProduct& opened, const std::vector<std::string>& names,
                             const Treatment& treatment = {});

/// @throws loader::Error naming an entry for which the treatment makes no sense.
Entry treated(Entry entry, const Treatment& treatment);
/// @return the same entry, not in decibels.
Entry linear(Entry entry);

/// @return the first part of the names of calibrated entries: "SIGMA_NOUGHT", ...
std::string nameOf(Radiometry kind);

/// @param name  of any entry.
/// @return the calibration of its samples: "sigma nought", "none: samples as the product stores
///         them", ...
std::string calibrationOf(const std::string& name);

/// The entries that suit a viewer best: the first kind of power in decibels, in all polarizations;
/// without power, magnitudes.
/// @param entries  must all be openable.
std::vector<Entry> clearest(const std::vector<Entry>& entries);

/// The entries that are the bands of the product as a whole: complex samples where the images are
/// complex, else all layers; for bursts the mosaics of sigma nought.
std::vector<Entry> wholeProduct(const std::vector<Entry>& entries);

} // namespace product
