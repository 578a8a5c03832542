#include "lmx/pattern.h"

#include <cassert>
#include <re2/re2.h>

namespace lmx {

c_pattern::c_pattern(const char* expression)
    // Latin-1: the patterns name ASCII only, and no text is refused for being bad UTF-8 here.
    : expression_(std::make_unique<re2::RE2>(expression, re2::RE2::Latin1)) {
    assert(expression_->ok());
}

c_pattern::~c_pattern() = default;

bool c_pattern::matches(std::string_view text) const {
    return re2::RE2::FullMatch(re2::StringPiece(text.data(), text.size()), *expression_);
}

} // namespace lmx
