// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/catalogue.h"

#include <CLI/CLI.hpp>

/// The options --db and --denoise.
inline void addTreatment(CLI::App& verb, product::Treatment& treatment) {
    verb.add_flag("--db", treatment.decibels,
                  "decibels: 10 log10 of power, 20 log10 of a magnitude; not-a-number where there "
                  "is none");
    verb.add_flag("--denoise", treatment.denoised,
                  "subtract the noise level that the product states from calibrated power; values "
                  "may become negative");
}
