// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/oracles.h"
#include "loader/plugin.h"

namespace fuzz {

/// Bad input is told as a loader::Error, and as nothing else.
/// @return whether the step was done.
template <class Step>
bool attempt(const Step& step) {
    try {
        step();
        return true;
    } catch (const loader::Error& error) {
        requireSentence(error.what());
        return false;
    }
}

} // namespace fuzz
