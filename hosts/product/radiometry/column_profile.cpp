#include "product/radiometry/column_profile.h"

#include "loader/plugin.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace product {
namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::uint32_t longestLine = 1 << 24;

template <class Number>
Number parseOne(std::string_view text, const std::string& file) {
    Number number{};
    const char* begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, number);
    if (error != std::errc() || stop != end)
        throw loader::Error(file + ": \"" + std::string(text) + "\" is not a number");
    return number;
}

} // namespace

bool ColumnProfile::covers(std::uint32_t width, double reach) const {
    if (values.empty())
        return false;
    const double begin = static_cast<double>(first);
    const double last = begin + static_cast<double>(step) * static_cast<double>(values.size() - 1);
    return std::min(begin, last) <= reach && std::max(begin, last) >= width - 1.0 - reach;
}

std::vector<double> ColumnProfile::expand(std::uint32_t width) const {
    if (width > longestLine)
        throw loader::Error("lines of " + std::to_string(width) +
                            " samples are too long for values a column");
    std::vector<double> columns(width);
    const double end = static_cast<double>(values.size()) - 1;
    for (std::uint32_t column = 0; column < width; ++column) {
        const double place =
            std::clamp((column - static_cast<double>(first)) / static_cast<double>(step), 0.0, end);
        const auto before = static_cast<std::size_t>(place);
        const double part = place - std::floor(place);
        columns[column] =
            part == 0 ? values[before] : (1 - part) * values[before] + part * values[before + 1];
    }
    return columns;
}

std::vector<double> parseNumbers(const std::string& text, const std::string& file) {
    std::vector<double> numbers;
    for (std::size_t at = text.find_first_not_of(blanks); at != std::string::npos;) {
        const std::size_t end = std::min(text.find_first_of(blanks, at), text.size());
        numbers.push_back(parseOne<double>(std::string_view(text).substr(at, end - at), file));
        at = text.find_first_not_of(blanks, end);
    }
    return numbers;
}

std::int64_t parseInteger(const std::string& text, const std::string& file) {
    const std::size_t at = std::min(text.find_first_not_of(blanks), text.size());
    const std::size_t end = text.find_last_not_of(blanks) + 1;
    return parseOne<std::int64_t>(std::string_view(text).substr(at, end > at ? end - at : 0), file);
}

} // namespace product
