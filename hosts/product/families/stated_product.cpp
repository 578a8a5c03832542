// SPDX-License-Identifier: MIT
#include "product/families/stated_product.h"

namespace product {

std::string StatedProduct::folder() const {
    return file().substr(0, file().rfind('/') + 1);
}

const std::vector<TiePoint>& StatedProduct::tiePoints() const {
    return tiePoints_.get([&] { return readTiePoints(); });
}

const std::vector<StatedBurst>& StatedProduct::bursts() const {
    return bursts_.get([&] { return readBursts(); });
}

const StatedGains& StatedProduct::gains(const CalibrationTable& table) const {
    return gains_.get(table.file, [&] { return readGains(table); });
}

const ColumnProfile& StatedProduct::noise(const NoiseTable& table, Radiometry kind,
                                          std::uint32_t width) const {
    const int which = static_cast<int>(kind);
    return noise_.get(table.file + '\n' + std::to_string(which) + ' ' + std::to_string(width),
                      [&] { return readNoise(table, kind, width); });
}

const ColumnProfile& StatedProduct::incidence() const {
    return incidence_.get([&] { return readIncidence(); });
}

} // namespace product
