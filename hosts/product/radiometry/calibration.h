// SPDX-License-Identifier: MIT
#pragma once

#include "product/radiometry/image_columns.h"

namespace product {

/// Turns squared samples into linear power: (square + offset) / divisor of the column.
struct Calibration {
    double offset = 0;
    std::vector<double> divisors; ///< one a column of the image, above 0
};

/// @param table  one of the product's. Complex samples have gains of amplitude, detected ones
///        gains of power.
/// @throws loader::Error naming the file when it is missing or damaged, or does not cover the
///         columns of the image.
Calibration readCalibration(const StatedProduct& product, const CalibrationTable& table,
                            const ImageColumns& columns, bool complexSamples);

} // namespace product
