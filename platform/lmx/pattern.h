// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <memory>
#include <string_view>

namespace lmx {

/// A regular expression that a whole text, UTF-8, must match; "\d" means 0 to 9. Matching takes time
/// linear in the text. Immutable, any thread.
class RF_PLATFORM_API c_pattern {
public:
    /// @param expression  must be valid: patterns are part of a model, never input.
    explicit c_pattern(const char* expression);
    ~c_pattern();
    c_pattern(const c_pattern&) = delete;
    c_pattern& operator=(const c_pattern&) = delete;

    bool matches(std::string_view text) const;

private:
    struct s_expression;
    std::unique_ptr<s_expression> expression_;
};

} // namespace lmx
