// SPDX-License-Identifier: MIT
#include "product/radiometry/noise_power.h"

#include "product/radiometry/noise_tables.h"
#include "product/radiometry/table_for.h"

#include <cmath>

namespace product {

NoisePower readNoisePower(const OpenedProduct& opened, const ProductImage& image,
                          Radiometry wanted) {
    const std::vector<NoiseTable> tables = opened.stated().noiseTables();
    const NoiseTable* table = tableFor(tables, image);
    if (!table)
        throw loader::Error(opened.name() + ": states no noise level" +
                            (image.pole.empty() ? "" : " for " + image.pole));
    const ImageColumns columns = columnsOf(opened.stated(), image);
    ColumnProfile levels = readNoise(opened.stated(), *table, columns, wanted);
    const Radiometry kind = levels.values.empty() ? Radiometry::sigmaNought : wanted;
    if (levels.values.empty())
        levels = readNoise(opened.stated(), *table, columns);
    NoisePower noise{levels.expand(columns.width), kind};
    for (double& level : noise.levels)
        level = std::pow(10, level / 10);
    return noise;
}

TextItems noiseRemovedItems() {
    return {{"NOISE_REMOVED", "YES"},
            {"NEGATIVE_POWER", "kept where the noise level is above the power; no number in dB"}};
}

} // namespace product
