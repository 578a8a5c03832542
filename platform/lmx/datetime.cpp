// SPDX-License-Identifier: MIT
#include "lmx/datetime.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

namespace lmx {

namespace {

/// Takes pieces of fixed width from the front of a text; after one failure all further ones fail.
struct Scanner {
    std::string_view rest;
    bool good = true;

    int digits(std::size_t width) {
        const auto piece = rest.substr(0, width);
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        good = good && piece.size() == width && std::ranges::all_of(piece, isDigit);
        int value = 0;
        if (good) {
            std::from_chars(piece.data(), piece.data() + piece.size(), value);
            rest.remove_prefix(width);
        }
        return value;
    }
    void mark(char c) {
        good = good && rest.starts_with(c);
        if (good)
            rest.remove_prefix(1);
    }
};

/// A text of at least one digit after the point, or nothing.
std::string_view takeFraction(Scanner& scan) {
    if (!scan.rest.starts_with('.'))
        return {};
    const auto end = std::min(scan.rest.find_first_not_of("0123456789", 1), scan.rest.size());
    const auto fraction = scan.rest.substr(0, end);
    scan.good = scan.good && fraction.size() > 1;
    scan.rest.remove_prefix(end);
    return fraction;
}

bool isZone(std::string_view text) {
    if (text.empty() || text == "Z")
        return true;
    Scanner scan{text};
    scan.mark(text.starts_with('-') ? '-' : '+');
    const int hours = scan.digits(2);
    scan.mark(':');
    const int minutes = scan.digits(2);
    return scan.good && scan.rest.empty() && minutes < 60 && hours * 60 + minutes <= 14 * 60;
}

} // namespace

std::optional<c_datetime> c_datetime::from_string(std::string_view text) {
    Scanner scan{text};
    const int year = scan.digits(4);
    scan.mark('-');
    const int month = scan.digits(2);
    scan.mark('-');
    const int day = scan.digits(2);
    scan.mark('T');
    const int hour = scan.digits(2);
    scan.mark(':');
    const int minute = scan.digits(2);
    scan.mark(':');
    const auto secondText = scan.rest;
    const int second = scan.digits(2);
    const auto fraction = takeFraction(scan);
    if (!scan.good || !isZone(scan.rest))
        return std::nullopt;

    using namespace std::chrono;
    const year_month_day date{std::chrono::year{year}, std::chrono::month(unsigned(month)),
                              std::chrono::day(unsigned(day))};
    const bool midnight = hour == 24 && minute == 0 && second == 0 &&
                          fraction.find_first_not_of(".0") == std::string_view::npos;
    if (year == 0 || !date.ok() || minute > 59 || second > 59 || (hour > 23 && !midnight))
        return std::nullopt;

    c_datetime result;
    result.text_ = text;
    result.year_ = static_cast<short>(year);
    result.month_ = static_cast<signed char>(month);
    result.day_ = static_cast<signed char>(day);
    result.hour_ = static_cast<signed char>(hour);
    result.minute_ = static_cast<signed char>(minute);
    std::from_chars(secondText.data(), secondText.data() + 2 + fraction.size(), result.second_);
    result.second_ = std::min(result.second_, std::nextafter(60.0, 0.0)); // of many nines
    return result;
}

} // namespace lmx
