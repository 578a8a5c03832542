// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <cmath>
#include <limits>

/// Checks numbers that users give: CLI11 accepts "nan" and "inf" too.
inline CLI::Validator numberAbove(double least, const char* what) {
    return {[=](std::string& text) {
                double number = 0;
                const bool good = CLI::detail::lexical_cast(text, number) &&
                                  std::isfinite(number) && number > least;
                return good ? std::string() : text + " is not " + what;
            },
            ""};
}
inline CLI::Validator finiteNumber() {
    return numberAbove(-std::numeric_limits<double>::infinity(), "a finite number");
}
inline CLI::Validator positiveNumber() {
    return numberAbove(0, "a finite number above 0");
}
