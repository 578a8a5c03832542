// SPDX-License-Identifier: MIT
// What libFuzzer does to documents besides its own changes of bytes: it takes lines away, repeats
// and moves them, and puts odd values in place of theirs.
#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(unsigned char* bytes, std::size_t size,
                                        std::size_t maxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(unsigned char* bytes, std::size_t size,
                                               std::size_t maxSize, unsigned seed);

namespace {

constexpr std::string_view oddValues[] = {
    "", " ", "0", "-0", "1", "-1", "2", "255", "256", "65536", "2147483647", "2147483648",
    "4294967295", "4294967296", "-2147483648", "9223372036854775807", "-9223372036854775808",
    "18446744073709551616", "0.5", "90", "-180", "360", "1e-320", "1e20", "-1e20", "1e300", "1e308",
    "-1e308", "1e999", "NaN", "INF", "-INF", "null", "{}", "[]", "[null]", "\"x\"", "true",
    "2024-02-30T25:61:61.5Z", "2024-05-06T23:59:60.999999Z", "0001-01-01T00:00:00Z",
    "9999-12-31T23:59:59.999999Z", "../../x", "/etc/hostname", "/vsimem/", "\xFF\xFE", "&#0;",
    "HH HV VH VV", "HH  HV", "SLC", "GRD", "RADARSAT-2", "RCM-1", "Left", "Right", "Decreasing",
    "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21"};

struct Range {
    std::size_t begin, end;
};

/// The line around a place, with its line end.
Range lineAt(const std::string& text, std::size_t place) {
    const auto before = text.rfind('\n', place == 0 ? text.npos : place - 1);
    const auto end = text.find('\n', place);
    return {place == 0 || before == text.npos ? 0 : before + 1,
            end == text.npos ? text.size() : end + 1};
}

/// What a line holds between an element's tags, or behind a JSON member's name.
Range valueAt(const std::string& text, std::size_t place) {
    const Range line = lineAt(text, place);
    const std::string_view all = std::string_view(text).substr(line.begin, line.end - line.begin);
    auto begin = all.find('>');
    auto end = all.find('<', begin == all.npos ? 0 : begin);
    if (begin == all.npos || end == all.npos) {
        begin = all.find(':');
        end = std::min(all.find_last_not_of(",\r\n "), all.size() - 1) + 1;
    }
    return begin == all.npos || end <= begin ? Range{place, place}
                                             : Range{line.begin + begin + 1, line.begin + end};
}

} // namespace

std::size_t LLVMFuzzerCustomMutator(unsigned char* bytes, std::size_t size, std::size_t maxSize,
                                    unsigned seed) {
    std::minstd_rand random(seed);
    const auto below = [&](std::size_t limit) { return random() % std::max<std::size_t>(limit, 1); };
    if (size == 0 || below(3) == 0)
        return LLVMFuzzerMutate(bytes, size, maxSize);
    std::string text(reinterpret_cast<char*>(bytes), size);
    if (text.find("PK\3\4") != text.npos) // an archive, which has no lines
        return LLVMFuzzerMutate(bytes, size, maxSize);
    for (auto changes = 1 + below(3); changes > 0 && !text.empty(); --changes) {
        const std::size_t place = below(text.size());
        const Range line = lineAt(text, place);
        const std::string copy = text.substr(line.begin, line.end - line.begin);
        switch (below(8)) {
        case 0:
            text.erase(line.begin, copy.size());
            break;
        case 1:
            for (auto times = std::size_t{1} << below(6); times > 0; --times)
                text.insert(line.begin, copy);
            break;
        case 2:
            text.insert(lineAt(text, below(text.size())).begin, copy);
            break;
        default: {
            const Range value = valueAt(text, place);
            const bool quoted = value.end - value.begin > 1 && text[value.end - 1] == '"';
            std::string odd(oddValues[below(std::size(oddValues))]);
            text.replace(value.begin, value.end - value.begin,
                         quoted && below(2) == 0 ? '"' + odd + '"' : odd);
        }
        }
    }
    text.resize(std::min(text.size(), maxSize));
    std::memcpy(bytes, text.data(), text.size());
    return text.size();
}
