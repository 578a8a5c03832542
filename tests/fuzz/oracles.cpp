// SPDX-License-Identifier: MIT
#include "fuzz/oracles.h"

#include "fuzz/require.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <string>

namespace fuzz {
namespace {

std::string_view input;

/// Names of functions and files, and what libraries say when nobody words it for users.
constexpr std::string_view internals[] = {"std::",         "boost::",
                                          "rf_sar_gdal::", "__cxx",
                                          "_M_",           "vector::",
                                          "basic_string",  "json.exception",
                                          "kimg_",         "kprj_",
                                          "kxfr_",         "kmif_",
                                          "kfio_",         "sarm_",
                                          "lmx::",         "bad_alloc",
                                          "ptree",         ".cpp:",
                                          ".cpp(",         ".h:",
                                          "/src/",         "terminate called",
                                          "libFuzzer",     "Sanitizer"};
/// As words: numbers that were never computed.
constexpr std::string_view noNumbers[] = {"inf", "-inf", "nan", "-nan"};

bool isPartOfWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
}

bool holdsWord(std::string_view text, std::string_view word) {
    for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1))
        if ((at == 0 || !isPartOfWord(text[at - 1])) &&
            (at + word.size() == text.size() || !isPartOfWord(text[at + word.size()])))
            return true;
    return false;
}

[[noreturn]] void fail(std::string_view word, std::string_view text) {
    require(false, ("users are not told \"" + std::string(word) +
                    "\": " + std::string(text.substr(0, 2000)))
                       .c_str());
    std::abort();
}

} // namespace

void setInput(std::string_view whole) {
    input = whole;
}

void requireSentence(std::string_view text) {
    require(!text.empty(), "an error has a reason");
    for (const std::string_view word : internals)
        if (text.find(word) != text.npos && input.find(word) == input.npos)
            fail(word, text);
}

void requireText(std::string_view text, bool mayLackAnswers) {
    if (text.empty())
        return;
    requireSentence(text);
    for (const std::string_view word : noNumbers)
        if (holdsWord(text, word) && !(mayLackAnswers && word == "nan") && !holdsWord(input, word))
            fail(word, text);
}

void requireJson(std::string_view text) {
    require(nlohmann::json::accept(text), "what is said to be JSON is JSON");
    requireText(text, false);
}

} // namespace fuzz
