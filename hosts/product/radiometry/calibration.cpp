#include "product/radiometry/calibration.h"

#include "product/images/image_claims.h"

#include <algorithm>

namespace product {

Calibration readCalibration(const StatedProduct& product, const CalibrationTable& table,
                            std::uint32_t width, bool complexSamples) {
    const StatedGains& stated = product.gains(table);
    if (stated.scale) {
        const double divisor = 1 / (*stated.scale * *stated.scale);
        return {0, ColumnProfile{0, 1, {divisor}}.expand(width)};
    }
    requireStatedWidth(product, width, table.file);
    if (stated.gains.step == 0 || !stated.gains.covers(width))
        throw loader::Error(table.file + ": its gains do not cover the " + std::to_string(width) +
                            " columns of the image");
    Calibration calibration{complexSamples ? 0 : stated.offset, stated.gains.expand(width)};
    if (!std::all_of(calibration.divisors.begin(), calibration.divisors.end(),
                     [](double gain) { return gain > 0; }))
        throw loader::Error(table.file + ": holds a gain that is not above 0");
    if (complexSamples)
        for (double& divisor : calibration.divisors)
            divisor *= divisor;
    return calibration;
}

} // namespace product
