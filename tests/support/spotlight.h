// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/polar_format.h"

namespace support {

/// A spotlight image at 34 degrees of look from 600 km above the equator of a sphere, flying east;
/// `side` +1 looks right (south). 5 km by 5 km, with the pixels of real ones.
inline sarm::PolarFormatParameters spotlight(double side = 1) {
    constexpr double earth = 6371e3, orbit = earth + 600e3, speed = 7500;
    const double latitude = -side * 3.6; // of the reference point, degrees
    sarm::PolarFormatParameters p;
    p.ellipsoid = {earth, earth};
    p.antennaPosition = {orbit, 0, 0};
    p.antennaVelocity = {0, speed, 0};
    p.referencePoint = sarm::toEarthFixed({0, latitude, 0}, p.ellipsoid);
    p.referenceSample = 9990;
    p.referenceLine = 60020;
    p.sampleSpacingM = 0.25;
    p.lineSpacingM = 0.042;
    p.polarAngleRate = -side * 0.0105;
    p.numberOfSamples = 20000;
    p.numberOfLines = 119000;
    return p;
}

} // namespace support
