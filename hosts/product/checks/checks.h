// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace product {

enum class Verdict { ok, warn, fail };

/// What one check found: a sentence for the user.
struct Finding {
    std::string check; ///< the check's name
    Verdict verdict = Verdict::ok;
    std::string sentence;
};

/// The checks that cost little, for whoever opens a product: sizes, sample types, polarizations,
/// tables, times.
/// @return what is wrong, each a sentence; empty when nothing is. Images that do not open are left
///         to the caller, who opens them.
/// @throws loader::Error when the plug-in cannot list the product's layers.
std::vector<std::string> warnings(const OpenedProduct& opened);

/// @return a sentence when the product's layers show one burst of several; else "".
std::string layersRemark(const OpenedProduct& opened);

/// @return a sentence when products of this type have no SAR model, else "".
std::string modelRemark(const ProductFacts& facts);

/// Runs every check on an open product, in order; one that finds nothing wrong says so, one that
/// cannot be made fails.
/// @throws loader::Error when the product's documents cannot be read.
std::vector<Finding> runChecks(const OpenedProduct& opened);

/// Called with how many of all lines are read; may throw to end the work.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Reads every sample of every image that opens.
/// @return what is wrong: parts that cannot be read, negative samples in detected images, samples
///         that are no numbers or too large, members of archives that are not what was put in.
/// @throws loader::Error when the product's documents cannot be read.
std::vector<Finding> readImages(const OpenedProduct& opened, const ReadProgress& progress);

} // namespace product
