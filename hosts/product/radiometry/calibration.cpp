// SPDX-License-Identifier: MIT
#include "product/radiometry/calibration.h"

namespace product {

Calibration readCalibration(const StatedProduct& product, const CalibrationTable& table,
                            const ImageColumns& columns, bool complexSamples) {
    const StatedGains& stated = product.gains(table);
    if (stated.scale) {
        const double divisor = 1 / (*stated.scale * *stated.scale);
        return {0, ColumnProfile{0, 1, {divisor}}.expand(columns.width)};
    }
    const ColumnProfile gains = inImage(stated.gains, columns, 0, "gains", table.file);
    Calibration calibration{complexSamples ? 0 : stated.offset, gains.expand(columns.width)};
    if (complexSamples)
        for (double& divisor : calibration.divisors)
            divisor *= divisor;
    return calibration;
}

} // namespace product
