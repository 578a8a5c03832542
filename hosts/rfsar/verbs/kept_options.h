// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <cstddef>
#include <memory>

/// What a verb's options are parsed into. It lives as long as the verb, also when a batch replaces
/// the callback that runs it.
template <class Options>
std::shared_ptr<Options> keptOptions(CLI::App& verb) {
    auto options = std::make_shared<Options>();
    verb.preparse_callback([options](std::size_t) {});
    return options;
}
