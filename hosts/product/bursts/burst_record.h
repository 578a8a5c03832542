#pragma once

#include "product/opened_product.h"

#include "kmif/kmif_node.h"
#include "kxfr/kxfr.h"

namespace product {

/// A part of the common grid of a product's bursts: one burst, or the whole.
struct GridPart {
    std::int64_t line = 0, sample = 0; ///< of its first pixel in the grid
    std::uint32_t lines = 0, samples = 0;
    double pulseRateHz = 0; ///< decides how late its line times are; 0 leaves the record's
    const StatedBurst* burst = nullptr;
};

GridPart partOf(const StatedBurst& burst);
/// The whole grid. Its pulse interval is midway between those of the beams.
GridPart wholeGrid(const StatedProduct& stated);

/// The SAR metadata record of a part alone, in the shape of ":SAR_Metadata": its own times, near
/// edge, size, pulse rate and Doppler centroid. The plug-in's record, which knows of no grid, gives
/// the rest.
/// @throws loader::Error when the plug-in has no record, or the part's offsets cannot be used.
KmifNode recordOf(const OpenedProduct& opened, const GridPart& part);

/// The sensor model of a part: pixels count from its first one.
/// @throws loader::Error as recordOf, and telling why there is no model.
KxfrXFormPtr transformOf(const OpenedProduct& opened, const GridPart& part);

} // namespace product
