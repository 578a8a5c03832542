// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Reads and writes points as lines of numbers, for any number of points.

/// One line of input.
struct PointLine {
    double values[3];
    int count; ///< how many numbers the line holds, 2 or 3
};

/// Reads points from a file descriptor until its end. Hands them over in batches, one for each
/// piece of input that arrives, so that a partner on a pipe gets its answers immediately. Blanks or
/// tabs separate the numbers; empty lines are skipped.
/// @throws loader::Error when the input cannot be read, or naming a line that is not two or three
///         numbers, after handing over the points before it.
void readPoints(int descriptor, const std::function<void(std::span<const PointLine>)>& take);

/// Appends a line of numbers, each in the shortest decimal text that reads back to the same double;
/// "nan" for what is not a number.
void appendLine(std::string& text, std::span<const double> numbers);
