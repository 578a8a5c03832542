// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Points as lines of numbers on stdin and stdout, any number of them.

/// One line of input.
struct PointLine {
    double values[3];
    int count; ///< how many numbers the line holds, 2 or 3
};

/// Reads points from a file descriptor until its end and hands them over in batches, one for each
/// piece of input that arrives, so that a partner on a pipe gets its answers at once. Numbers are
/// parted by blanks or tabs; empty lines are skipped.
/// @throws loader::Error naming the line when one is not two or three numbers, after the points
///         before it were handed over, or when the input cannot be read.
void readPoints(int descriptor, const std::function<void(std::span<const PointLine>)>& take);

/// Appends a line of numbers, each in the shortest decimal text that reads back to the same double;
/// "nan" for what is not a number.
void appendLine(std::string& text, std::span<const double> numbers);
