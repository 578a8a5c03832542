// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/checks.h"

#include <string>
#include <vector>

namespace product {

/// Collects the findings of one check.
struct Findings {
    std::string check;
    std::vector<Finding>& all;

    void add(Verdict verdict, std::string sentence) {
        all.push_back({check, verdict, std::move(sentence)});
    }
    /// Adds "all <total> <areRight>" if all of them are right; else nothing.
    void addWhenAll(std::size_t good, std::size_t total, const std::string& areRight) {
        if (good == total && total != 0)
            add(Verdict::ok, "all " + std::to_string(total) + " " + areRight);
    }
};

/// @return the images of every burst, where there are bursts.
inline const std::vector<ProductImage>& imagesToCheck(const OpenedProduct& opened) {
    return opened.hasBursts() ? opened.burstImages() : opened.images();
}

} // namespace product
