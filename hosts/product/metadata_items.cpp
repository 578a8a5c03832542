// SPDX-License-Identifier: MIT
#include "product/metadata_items.h"

#include "kfnp/kfnp.h"

namespace product {
namespace {

const char* tableKey(Radiometry kind) {
    switch (kind) {
    case Radiometry::sigmaNought:
        return "SIGMA_NOUGHT_LUT";
    case Radiometry::betaNought:
        return "BETA_NOUGHT_LUT";
    default:
        return "GAMMA_LUT";
    }
}

} // namespace

TextItems metadataItems(const StatedProduct& product) {
    TextItems found = product.metadataItems();
    for (const CalibrationTable& table : product.calibrationTables())
        if (!table.file.empty()) {
            std::string key = tableKey(table.kind);
            if (!table.pole.empty())
                key += "_" + table.pole;
            found.emplace_back(std::move(key), kfnp::lastComponent(table.file));
        }
    return found;
}

} // namespace product
