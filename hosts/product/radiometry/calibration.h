#pragma once

#include "loader/product.h"
#include "product/families/product_document.h"
#include "product/radiometry/column_profile.h"

#include <optional>
#include <string>
#include <vector>

namespace product {

enum class Radiometry { sigmaNought, betaNought, gamma };

/// Which table serves a polarization for one kind of radiometry.
struct CalibrationTable {
    Radiometry kind = Radiometry::sigmaNought;
    std::string pole;      ///< "" where one table serves all polarizations
    std::string file;      ///< "" where the document itself states the scale
    std::size_t place = 0; ///< among the product's tables
};

/// Turns squared samples into linear power: (square + offset) / divisor of the column.
struct Calibration {
    double offset = 0;
    std::vector<double> divisors; ///< one a column of the image, above 0
};

/// @return what the product can be calibrated to; nothing for products without tables.
std::vector<CalibrationTable> calibrationTables(const ProductDocument& document);

/// Reads a table: RADARSAT-2's through the plug-in, the others from the product. Complex samples
/// have gains of amplitude, detected ones gains of power.
/// @throws loader::Error naming the file when it is missing or damaged, or does not cover the
///         columns of the image.
Calibration readCalibration(const loader::Product& opened, const ProductDocument& document,
                            const CalibrationTable& table, std::uint32_t width,
                            bool complexSamples);

} // namespace product
