#pragma once

#include "loader/product.h"

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

/// Runs every check on an open product, in order; one that finds nothing wrong says so, one that
/// cannot be made fails.
/// @throws loader::Error when the product file cannot be read again.
std::vector<Finding> runChecks(const loader::Product& opened);

} // namespace product
