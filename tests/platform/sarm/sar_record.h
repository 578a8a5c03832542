// SPDX-License-Identifier: MIT
#pragma once

#include "kmsc/kmsc.h"
#include "sarm/model.h"
#include "sarm/sarm.h"

#include <span>

namespace support {

/// Replaces the state vectors of a record; their times stay the record's own affair.
inline void setVectors(SarMetadataRecord& record, std::span<const sarm::StateVector> vectors) {
    const auto n = static_cast<std::int32_t>(vectors.size());
    record.numberOfStateVectors = n;
    StateVectorComponent* component = &record.stateVectorXPosition;
    for (int axis = 0; axis < 6; ++axis) {
        kmsc_HeapFree(component[axis].values);
        component[axis] = {n, 0, kmsc::makeArray<double>(vectors.size()).release()};
    }
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const sarm::Vec3 &p = vectors[i].position, &v = vectors[i].velocity;
        const double values[6] = {p.x, p.y, p.z, v.x, v.y, v.z};
        for (int axis = 0; axis < 6; ++axis)
            component[axis].values[i] = values[axis];
    }
}

inline sarm::MetadataPtr emptyRecord() {
    return sarm::MetadataPtr(
        static_cast<SarMetadataRecord*>(kmsc_HeapCalloc(1, sizeof(SarMetadataRecord))));
}

/// A slant-range image seen from `satellite`, a motion under gravity known at time 0 of the image,
/// by `n` vectors that cover `arcS` around the image's middle. C band, WGS 84, 30 degrees look.
struct Scene {
    double startS = 40000, durationS = 10, arcS = 10;
    int vectors = 5, lines = 5000, samples = 4000;
    double side = 90, pixelSpacing = 5, nearRange = 850e3;
    int lineOrdering = 0, pixelOrdering = 0;
};

inline std::vector<sarm::StateVector> vectorsOf(const Scene& scene,
                                                const sarm::StateVector& satellite) {
    std::vector<sarm::StateVector> vectors;
    for (int i = 0; i < scene.vectors; ++i)
        vectors.push_back(sarm::propagate(satellite, (scene.durationS - scene.arcS) / 2 +
                                                         scene.arcS * i / (scene.vectors - 1)));
    return vectors;
}

inline sarm::MetadataPtr recordOf(const Scene& scene, const sarm::StateVector& satellite) {
    sarm::MetadataPtr record = emptyRecord();
    record->numberOfLines = scene.lines;
    record->numberOfSamplesPerLine = scene.samples;
    record->firstLineTime = scene.startS;
    record->lastLineTime = scene.startS + scene.durationS;
    record->imageDuration = scene.durationS;
    record->wavelength = 0.0555;
    record->lookDirection = scene.side;
    record->sampledPixelSpacing = scene.pixelSpacing;
    record->slantRangeNearEdge = scene.nearRange;
    record->rangeGeometry = 2;
    record->pixelTimeOrdering = scene.pixelOrdering;
    record->lineTimeOrdering = scene.lineOrdering;
    record->stateVectorFirstTime = scene.startS + (scene.durationS - scene.arcS) / 2;
    record->stateVectorInterval = scene.arcS / (scene.vectors - 1);
    setVectors(*record, vectorsOf(scene, satellite));
    return record;
}

/// Where a ground point lies in a slant-range scene, the slow way: bisection of the Doppler
/// equation on the integrated motion.
inline sarm::ImagePosition bruteForce(const Scene& scene, const sarm::StateVector& satellite,
                                      const sarm::Vec3& point, double lineInterval) {
    double before = -scene.durationS, after = 2 * scene.durationS;
    for (int i = 0; i < 60; ++i) {
        const double middle = (before + after) / 2;
        const sarm::StateVector s = sarm::propagate(satellite, middle);
        (sarm::dot(s.velocity, point - s.position) > 0 ? before : after) = middle;
    }
    const double range = norm(point - sarm::propagate(satellite, before).position);
    const double q = (range - scene.nearRange) / scene.pixelSpacing;
    const double line = before / lineInterval;
    return {scene.pixelOrdering == 1 ? scene.samples - 1 - q : q,
            scene.lineOrdering == 1 ? scene.durationS / lineInterval - line : line};
}

/// A near-circular satellite 700 to 800 km up over a place and heading of choice (degrees).
inline sarm::StateVector satelliteOver(double lonDeg, double latDeg, double headingDeg) {
    const double radians = 3.14159265358979 / 180;
    const sarm::Vec3 up = sarm::upDirection({lonDeg, latDeg, 0});
    const sarm::Vec3 east{-std::sin(lonDeg * radians), std::cos(lonDeg * radians), 0};
    const sarm::Vec3 north = sarm::cross(up, east);
    const sarm::Vec3 position = 7.13e6 * up;
    const sarm::Vec3 turning = sarm::cross({0, 0, 7.292115e-5}, position);
    const sarm::Vec3 heading =
        std::sin(headingDeg * radians) * east + std::cos(headingDeg * radians) * north;
    return {0, position, 7477.0 * heading - turning};
}

} // namespace support
