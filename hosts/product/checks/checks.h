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

/// Runs the cheap checks, for every opening of a product: sizes, sample types, polarizations,
/// tables, times.
/// @return a sentence for each fault; empty when there is none. Images that do not open are no
///         fault here: the caller opens them and sees it.
/// @throws loader::Error when the plug-in cannot list the product's layers.
std::vector<std::string> warnings(const OpenedProduct& opened);

/// @return a sentence when the product's layers show one burst of several; else "".
std::string layersRemark(const OpenedProduct& opened);

/// @return a sentence when products of this type have no SAR model, else "".
std::string modelRemark(const ProductFacts& facts);

/// Runs every check on an open product, in order. A check that finds nothing wrong says so; a check
/// that cannot run counts as failed.
/// @throws loader::Error when the product's documents cannot be read.
std::vector<Finding> runChecks(const OpenedProduct& opened);

/// Receives the number of lines read and of all lines; may throw to end the work.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Reads every sample of every image that opens.
/// @return the faults: parts that cannot be read, negative samples in detected images, samples that
///         are no numbers or too large, members of archives whose bytes have changed.
/// @throws loader::Error when the product's documents cannot be read.
std::vector<Finding> readImages(const OpenedProduct& opened, const ReadProgress& progress);

} // namespace product
