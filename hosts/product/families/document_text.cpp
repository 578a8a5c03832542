// SPDX-License-Identifier: MIT
#include "product/families/document_text.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "loader/plugin.h"
#include "radartime/radartime.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <sstream>

namespace product {
namespace {

using kfio::ProductTree;

constexpr std::string_view blanks = " \t\r\n";

/// @return whether the whole text is one number of this kind.
template <class Number>
bool parseWhole(std::string_view text, Number& number) {
    const char* begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, number);
    return error == std::errc() && stop == end;
}

template <class Number>
Number parseOne(std::string_view text, const std::string& file) {
    Number number{};
    if (!parseWhole(text, number))
        throw loader::Error(file + ": \"" + std::string(text) + "\" is not a number");
    return number;
}

/// Reads whole numbers of fixed width between fixed separators.
class TimeText {
public:
    explicit TimeText(std::string_view text) : rest_(text) {}

    /// @return the next number, of that many digits and followed by the separator; -1 for any other
    ///         text.
    int take(std::size_t digits, char separator) {
        int number = 0;
        if (rest_.size() < digits || !parseWhole(rest_.substr(0, digits), number) || number < 0)
            return -1;
        rest_.remove_prefix(digits);
        if (separator != 0 && !rest_.starts_with(separator))
            return -1;
        rest_.remove_prefix(separator == 0 ? 0 : 1);
        return number;
    }
    double takeSeconds() const {
        double seconds = std::numeric_limits<double>::quiet_NaN();
        std::from_chars(rest_.data(), rest_.data() + rest_.size(), seconds,
                        std::chars_format::fixed);
        return seconds;
    }

private:
    std::string_view rest_;
};

} // namespace

std::string textAt(const ProductTree& tree, const std::string& path) {
    const ProductTree* found = elementAt(tree, path);
    return found ? found->data() : "";
}

std::string leafAt(const ProductTree& tree, const std::string& path, const std::string& file) {
    const ProductTree* found = elementAt(tree, path);
    for (const auto& [name, child] : found ? *found : ProductTree())
        if (!name.starts_with('<')) // attributes, comments
            throw loader::Error(file + ": " + path + " holds a list or elements where " +
                                "text is due");
    return found ? found->data() : "";
}

std::vector<double> numbersAt(const ProductTree& tree, const std::string& path,
                              const std::string& file) {
    std::vector<double> numbers;
    if (const ProductTree* list = elementAt(tree, path))
        for (const auto& [name, element] : *list) {
            if (!element.empty())
                throw loader::Error(file + ": a list stands in " + path + " where a number is due");
            const auto number = numberOf(element.data());
            if (!number)
                throw loader::Error(file + ": \"" + element.data() + "\" is not a number, in " + path);
            numbers.push_back(*number);
        }
    return numbers;
}

const ProductTree* elementAt(const ProductTree& tree, const std::string& path) {
    const auto found = tree.get_child_optional(ProductTree::path_type(path, '/'));
    return found ? &*found : nullptr;
}

std::string firstText(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts)
        if (!text.empty() && text != "null")
            return text;
    return "";
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

std::optional<double> numberOf(const std::string& text) {
    double value = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (fault != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

double numberOrNan(const std::string& text) {
    return numberOf(text).value_or(std::numeric_limits<double>::quiet_NaN());
}

std::uint32_t parseSize(const std::string& text, const std::string& file) {
    if (text.empty())
        return 0;
    const std::int64_t size = parseInteger(text, file);
    if (size < 1 || size > std::numeric_limits<std::int32_t>::max())
        throw loader::Error(file + ": states an image of " + text + " lines or samples");
    return static_cast<std::uint32_t>(size);
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

std::string lowerCase(std::string text) {
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

std::string zoned(const std::string& time) {
    return time.empty() || time.back() == 'Z' ? time : time + 'Z';
}

double gpsSecondsOf(const std::string& time) {
    TimeText text(time);
    const int year = text.take(4, '-'), month = text.take(2, '-'), day = text.take(2, 'T'),
              hour = text.take(2, ':'), minute = text.take(2, ':');
    if (std::min({year, month, day, hour, minute}) < 0)
        return std::numeric_limits<double>::quiet_NaN();
    return timeDMYHMStoGpsSeconds(day, month, year, hour, minute, text.takeSeconds());
}

double secondsOfDayOf(const std::string& time) {
    if (std::isnan(gpsSecondsOf(time)))
        return 0;
    TimeText clock(std::string_view(time).substr(time.find('T') + 1));
    const int hour = clock.take(2, ':'), minute = clock.take(2, ':');
    return hour * 3600 + minute * 60 + clock.takeSeconds();
}

bool isOwnFile(const std::string& productFile, const std::string& file) {
    const std::size_t folder = productFile.rfind('/') + 1;
    return kfnp::classifyReference(file.substr(folder)) == kfnp::Reference::inside &&
           !kfio::linkLeavesProduct(productFile, file);
}

std::shared_ptr<const ProductTree> readTable(const std::string& productFile, const std::string& file) {
    if (!isOwnFile(productFile, file))
        throw loader::Error(file + ": leaves the product's folder and is refused");
    try {
        return kfio::sharedXmlTree(file);
    } catch (const boost::property_tree::ptree_error& error) {
        throw loader::Error(faultOf(file, error));
    }
}

std::string faultOf(const std::string& file, const std::exception& error) {
    const std::string what = error.what();
    return what.starts_with(file) ? what : file + ": " + what;
}

} // namespace product
