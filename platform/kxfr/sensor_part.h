// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/part.h"

namespace kxfr {

/// A part that is a sensor model. It is always the only part of its chain.
class SensorPart : public Part {
public:
    std::string_view to() const final { return "pixels"; }
    void towardsPixels(std::span<KxfrMapPoint> points) const final;
    void towardsMap(std::span<KxfrMapPoint> points) const final;
};

/// @return the design of sarm::Ellipsoid; null with a report when memory is short.
kmif::DesignPtr ellipsoidDesign(KERR_REPORT** slot);

} // namespace kxfr
