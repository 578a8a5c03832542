// SPDX-License-Identifier: MIT
#include "radartime/time_stamp.h"

#include <charconv>
#include <chrono>

namespace {

constexpr std::string_view blanks = " \t\r\n";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Parses a text from its front; after a mismatch, `good` stays false.
struct Scanner {
    std::string_view text;
    bool good = true;

    /// A number of exactly that many digits.
    int digits(std::size_t count) {
        int value = 0;
        good = good && text.size() >= count;
        for (std::size_t i = 0; good && i < count; ++i) {
            good = isDigit(text[i]);
            value = value * 10 + (text[i] - '0');
        }
        text.remove_prefix(good ? count : 0);
        return value;
    }

    void mark(char wanted) {
        good = good && !text.empty() && text.front() == wanted;
        text.remove_prefix(good ? 1 : 0);
    }

    /// Two digits, optionally "." and any number of digits.
    double seconds() {
        const std::string_view start = text;
        digits(2);
        if (good && text.size() > 1 && text[0] == '.' && isDigit(text[1]))
            for (text.remove_prefix(1); !text.empty() && isDigit(text.front());)
                text.remove_prefix(1);
        double value = 0;
        if (good)
            std::from_chars(start.data(), text.data(), value);
        return value;
    }
};

bool isZone(std::string_view text) {
    if (text.empty())
        return true;
    const char first = text.front();
    const bool starts = isLetter(first) || first == '+' || first == '-' || first == '<';
    return starts && text.find_first_of(blanks) == std::string_view::npos;
}

bool exists(const TimeStamp& t) {
    const std::chrono::year_month_day date{std::chrono::year{t.year},
                                           std::chrono::month{static_cast<unsigned>(t.month)},
                                           std::chrono::day{static_cast<unsigned>(t.day)}};
    return date.ok() && t.hour < 24 && t.minute < 60 && t.seconds < 61;
}

} // namespace

std::optional<TimeStamp> parseTimeStamp(std::string_view text) {
    Scanner scan{trimmed(text)};
    TimeStamp t;
    t.year = scan.digits(4);
    scan.mark('-');
    t.month = scan.digits(2);
    scan.mark('-');
    t.day = scan.digits(2);
    scan.mark('T');
    t.hour = scan.digits(2);
    scan.mark(':');
    t.minute = scan.digits(2);
    scan.mark(':');
    t.seconds = scan.seconds();
    if (!scan.good || !isZone(scan.text) || !exists(t))
        return std::nullopt;
    return t;
}

std::optional<TimeStamp> parseTimeStampWithZone(std::string_view text) {
    text = trimmed(text);
    text.remove_suffix(text.empty() ? 0 : 1);
    return parseTimeStamp(text);
}
