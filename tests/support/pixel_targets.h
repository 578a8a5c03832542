// SPDX-License-Identifier: MIT
#pragma once

#include <hwy/targets.h>

#include <cstdint>
#include <string>
#include <vector>

namespace support {

/// The kinds of registers that pixel kernels exist for and this machine has, widest first, and the
/// rule without any ("SCALAR") last.
inline std::vector<std::int64_t> pixelTargets() {
    return hwy::SupportedAndGeneratedTargets();
}

/// While it lives, the process converts pixels with these registers.
class UsePixelTarget {
public:
    explicit UsePixelTarget(std::int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~UsePixelTarget() { hwy::SetSupportedTargetsForTest(0); }
    UsePixelTarget(const UsePixelTarget&) = delete;
    UsePixelTarget& operator=(const UsePixelTarget&) = delete;
};

inline std::string pixelTargetName(std::int64_t target) {
    return hwy::TargetName(target);
}

} // namespace support
