// SPDX-License-Identifier: MIT
#pragma once

#include "product/bursts/grid_part.h"
#include "product/opened_product.h"

#include "kmif/kmif_node.h"
#include "kxfr/kxfr.h"

namespace product {

/// @return the part of the common grid that an image covers: its burst, or the whole grid for an
///         image of a product without layers; nothing for other images, which the plug-in's layers
///         place.
std::optional<GridPart> partOf(const OpenedProduct& opened, const ProductImage& image);

/// @return the whole grid of such a product, which contains all parts; nothing for others.
std::optional<GridPart> wholeOf(const OpenedProduct& opened);

/// The SAR metadata record of one part, in the form of ":SAR_Metadata", with the part's own times,
/// near edge, size, pulse rate and Doppler centroid. The other fields are those of the plug-in's
/// record, which knows of no grid.
/// @throws loader::Error when the plug-in has no record, or the part's offsets cannot be used.
KmifNode recordOf(const OpenedProduct& opened, const GridPart& part);

/// @return whether a node's name asks for the record of one burst: ":SAR_Metadata@beam/burst".
bool isBurstRecord(const std::string& name);
/// @throws loader::Error as recordOf, and when the product has no such burst.
KmifNode burstRecord(const OpenedProduct& opened, const std::string& name);

/// The sensor model of a part: pixels count from its first one.
/// @throws loader::Error as recordOf, or saying why there is no model.
KxfrXFormPtr transformOf(const OpenedProduct& opened, const GridPart& part);

} // namespace product
