// SPDX-License-Identifier: MIT
#include "lmx/pattern.h"

#include <cassert>
#include <re2/re2.h>

namespace lmx {

struct c_pattern::s_expression {
    explicit s_expression(const char* text) : compiled(text) {}
    re2::RE2 compiled;
};

c_pattern::c_pattern(const char* expression)
    : expression_(std::make_unique<s_expression>(expression)) {
    assert(expression_->compiled.ok());
}

c_pattern::~c_pattern() = default;

bool c_pattern::matches(std::string_view text) const {
    return re2::RE2::FullMatch(re2::StringPiece(text.data(), text.size()), expression_->compiled);
}

} // namespace lmx
