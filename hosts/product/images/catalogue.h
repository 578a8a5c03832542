#pragma once

#include "product/bursts/grid_part.h"
#include "product/opened_product.h"

namespace product {

/// One thing that a product can be opened as, with one band.
struct Entry {
    enum class Kind {
        layer,          ///< a layer of the plug-in: magnitude or phase
        complexSamples, ///< as stored
        calibrated,     ///< linear power
        noise,          ///< noise-equivalent sigma nought
        incidence,
        magnitude, ///< of an image that no layer of the plug-in shows
        phase,     ///< likewise, of complex samples
        mosaic,    ///< linear power of all bursts in their common grid
    };

    Kind kind = Kind::layer;
    std::string name;        ///< "C_HH_MAGNITUDE_1", "COMPLEX_HH", "SIGMA_NOUGHT_HH", ...
    std::string description; ///< "HH magnitude, UInt16"
    std::string pole;        ///< what the image holds, whatever the layer is called; "" for all
    const ProductImage* image = nullptr; ///< of the opened product
    CalibrationTable table; ///< of calibrated entries; of mosaics one of those that serve
    NoiseTable noise;       ///< of noise entries

    /// @return whether neighbours are averaged by their power.
    bool isMagnitude() const;
    bool isPhase() const;
};

/// @return as partOf of its image; for mosaics the whole grid.
std::optional<GridPart> partOf(const OpenedProduct& opened, const Entry& entry);

/// @return everything that the product can be opened as, in the order in which it is numbered:
///         layers, magnitudes and phases that they lack, complex samples, calibrated images, noise,
///         incidence angles. Of bursts: layers, mosaics, then each burst's, named "…@beam/burst".
std::vector<Entry> catalogue(const OpenedProduct& opened);

/// @return the first part of the names of calibrated entries: "SIGMA_NOUGHT", ...
std::string nameOf(Radiometry kind);

/// The entries that make up the bands of the product as a whole: complex samples where the images
/// are complex, else all layers; of bursts the mosaics of sigma nought.
std::vector<Entry> wholeProduct(const std::vector<Entry>& entries);

} // namespace product
