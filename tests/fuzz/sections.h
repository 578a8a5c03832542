// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Several texts in one: before each stands a line "=== NAME". What precedes the first such line is
/// dropped; the line end before "===" belongs to the mark.
namespace fuzz {

struct Section {
    std::string name;
    std::string_view content; ///< views into the whole
};

inline std::vector<Section> sections(std::string_view whole) {
    constexpr std::string_view mark = "\n=== ";
    std::vector<Section> found;
    auto at = whole.starts_with(mark.substr(1)) ? mark.size() - 1 : whole.find(mark);
    if (at >= mark.size() && at != whole.npos)
        at += mark.size();
    while (at != whole.npos) {
        const auto lineEnd = std::min(whole.find('\n', at), whole.size());
        const auto next = whole.find(mark, lineEnd);
        const auto begin = std::min(lineEnd + 1, whole.size());
        found.push_back({std::string(whole.substr(at, lineEnd - at)),
                         next == whole.npos
                             ? whole.substr(begin)
                             : whole.substr(begin, next > begin ? next - begin : 0)});
        at = next == whole.npos ? next : next + mark.size();
    }
    return found;
}

} // namespace fuzz
