// SPDX-License-Identifier: MIT
#include "loader/heard.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <sstream>
#include <string_view>

namespace loader {

namespace {

/// @return whether a text names a function of the platform: "kimg_LayerOpen", "sarm_Calibrate".
bool isFunction(std::string_view text) {
    static constexpr std::string_view modules[] = {"kgda", "kimg", "kint", "kmif", "kmsc",
                                                   "kprj", "kpxm", "kxfr", "sarm"};
    const std::string_view module = text.substr(0, text.find('_'));
    return module.size() < text.size() &&
           std::find(std::begin(modules), std::end(modules), module) != std::end(modules) &&
           std::all_of(text.begin() + static_cast<std::ptrdiff_t>(module.size()) + 1, text.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

/// @return the lines of a text, without blanks around them, joined by ": ".
std::string onOneLine(const std::string& text) {
    std::istringstream lines(text);
    std::string whole;
    for (std::string line; std::getline(lines, line);)
        if (const auto from = line.find_first_not_of(" *"); from != std::string::npos)
            whole += (whole.empty() ? "" : ": ") + line.substr(from);
    return whole;
}

/// The part of a message that helps a user. The plug-in's fixed texts, which hosts match on, also
/// name the function that failed, and some contain nothing else.
std::string forUsers(std::string text) {
    constexpr std::string_view failed = " failed", absent = ": No such node (";
    if (text == "Creating MIF Node failed." || text == "no data, no design or no node to fill" ||
        (text.ends_with(failed) &&
         isFunction(std::string_view(text).substr(0, text.size() - failed.size()))))
        return "";
    if (text.starts_with("* Line ")) // the JSON parser's list: "* Line 1, Column 2\n  Reason\n"
        return onOneLine(text.substr(2));
    if (text == "Failed to find parse JSON data")
        return "is damaged JSON, or not that of a product";
    for (std::size_t begin = 0, end; (end = text.find(": ", begin)) != std::string::npos;)
        if (isFunction(std::string_view(text).substr(begin, end - begin)))
            text.erase(begin, end + 2 - begin);
        else
            begin = end + 2;
    if (const auto at = text.find(absent); at != std::string::npos && text.ends_with(')')) {
        text.pop_back();
        text.replace(at, absent.size(), ": does not state ");
    }
    return text;
}

} // namespace

std::string Heard::reason(const std::string& otherwise) const {
    std::vector<std::string> told;
    for (const std::string& text : texts_)
        if (!text.empty() && std::find(told.begin(), told.end(), text) == told.end())
            told.push_back(text);
    if (told.empty())
        return otherwise;
    std::string joined = told.front();
    for (std::size_t i = 1; i < told.size(); ++i)
        joined += "; " + told[i];
    return joined;
}

/// The messages of the chain; function names are for developers.
std::string Heard::words(const KERR_REPORT& report) {
    std::string text;
    std::string before;
    for (const KERR_REPORT* each = &report; each; each = each->cause.get()) {
        const std::string words = forUsers(each->message);
        if (!words.empty() && words != before)
            text += (text.empty() ? "" : ": ") + words;
        before = words;
    }
    return text;
}

std::string Heard::text(const KERR_REPORT& report) {
    const std::string told = words(report);
    return told.empty() ? "cannot be read" : told;
}

} // namespace loader
