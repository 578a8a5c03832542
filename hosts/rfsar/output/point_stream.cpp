// SPDX-License-Identifier: MIT
#include "output/point_stream.h"

#include "loader/plugin.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <unistd.h>

namespace {

constexpr std::string_view blanks = " \t\r";

/// @return whether the line has only numbers; `count` is how many, 0 to 3.
bool parse(std::string_view line, PointLine& point) {
    point.count = 0;
    for (;;) {
        const auto start = line.find_first_not_of(blanks);
        if (start == std::string_view::npos)
            return true;
        line.remove_prefix(start);
        if (line.size() > 1 && line[0] == '+' && line[1] != '-')
            line.remove_prefix(1);
        if (point.count == 3)
            return false;
        const auto [end, error] =
            std::from_chars(line.data(), line.data() + line.size(), point.values[point.count]);
        if (error != std::errc())
            return false;
        ++point.count;
        line.remove_prefix(static_cast<std::size_t>(end - line.data()));
        if (!line.empty() && blanks.find(line[0]) == std::string_view::npos)
            return false;
    }
}

/// Converts the complete lines of a text to points.
class Collector {
public:
    explicit Collector(const std::function<void(std::span<const PointLine>)>& take) : take_(take) {}

    void addLine(std::string_view line) {
        ++lineNumber_;
        PointLine point{};
        const bool good = parse(line, point);
        if (good && point.count == 0)
            return;
        if (!good || point.count == 1) {
            flush();
            throw loader::Error("standard input, line " + std::to_string(lineNumber_) + ": \"" +
                                std::string(line.substr(0, 80)) + "\" is not two or three numbers");
        }
        points_.push_back(point);
    }

    void flush() {
        if (!points_.empty())
            take_(points_);
        points_.clear();
    }

private:
    const std::function<void(std::span<const PointLine>)>& take_;
    std::vector<PointLine> points_;
    std::uint64_t lineNumber_ = 0;
};

} // namespace

void readPoints(int descriptor, const std::function<void(std::span<const PointLine>)>& take) {
    Collector collector(take);
    std::string text;
    std::vector<char> piece(1 << 18);
    for (;;) {
        const ssize_t got = ::read(descriptor, piece.data(), piece.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw loader::Error(std::string("standard input: ") + std::strerror(errno));
        text.append(piece.data(), static_cast<std::size_t>(got));
        if (got == 0 && !text.empty() && text.back() != '\n')
            text += '\n'; // the last line may lack it
        std::size_t start = 0;
        for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
            collector.addLine(std::string_view(text).substr(start, end - start));
        text.erase(0, start);
        collector.flush();
        if (got == 0)
            return;
    }
}

void appendLine(std::string& text, std::span<const double> numbers) {
    char digits[32]; // the longest has 24
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0)
            text += ' ';
        if (std::isnan(numbers[i])) {
            text += "nan";
            continue;
        }
        text.append(digits, std::to_chars(digits, digits + sizeof digits, numbers[i]).ptr);
    }
    text += '\n';
}
