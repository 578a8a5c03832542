// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

#include <string>
#include <vector>

namespace loader {

/// While it lives, collects what the plug-in prints and logs on this thread.
class Heard {
public:
    Heard() : listener_([this](const KERR_REPORT& report) { texts_.push_back(words(report)); }) {}

    bool empty() const { return texts_.empty(); }
    /// @return the reasons, innermost first, as one part of a sentence; `otherwise` when there are
    ///         none.
    std::string reason(const std::string& otherwise) const;
    /// @return the messages of a report and its causes, without function names; never empty.
    static std::string text(const KERR_REPORT& report);

private:
    static std::string words(const KERR_REPORT& report);

    std::vector<std::string> texts_;
    TolvanLog::Listener listener_;
};

} // namespace loader
