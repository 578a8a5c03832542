// SPDX-License-Identifier: MIT
#include "sarm/model.h"
#include "sarm/model_area.h"
#include "sarm/record_times.h"

#include <algorithm>
#include <cmath>

namespace sarm {

namespace {

constexpr double farthestOrbitM = 1e8; // beyond any earth satellite of these families
constexpr double lowestOrbitM = 6.4e6;

const StateVectorComponent* components(const SarMetadataRecord& record) {
    return &record.stateVectorXPosition;
}

/// Checks the fields that need no computation: sizes, spacings, look side.
Refusal examineFields(const SarMetadataRecord& record, const RecordTimes& times) {
    if (record.numberOfLines < 2 || record.numberOfSamplesPerLine < 1)
        return Refusal::noImageSize;
    if (!(record.slantRangeNearEdge > 0))
        return Refusal::noSlantRange;
    if (!(record.sampledPixelSpacing > 0))
        return Refusal::noPixelSpacing;
    if (!(times.durationS > 0))
        return Refusal::noLineTiming;
    if (std::abs(record.lookDirection) != 90)
        return Refusal::noLookDirection;
    if (record.numberOfStateVectors < 1)
        return Refusal::noStateVectors;
    if (record.numberOfStateVectors > 1 && !(times.vectorIntervalS > 0))
        return Refusal::badTimes;
    return Refusal::none;
}

/// Checks that slant ranges and their slope are positive and finite over the whole image.
Refusal examineRange(const RadarGrid& grid) {
    for (int i = 0; i <= 64; ++i) {
        const double g = grid.rangeExtentM * i / 64;
        const double slope = slantRangeSlopeAt(grid, g), range = slantRangeAt(grid, g);
        if (!(slope > 0 && range > 0 && std::isfinite(slope) && std::isfinite(range)))
            return Refusal::badRangePolynomial;
    }
    return Refusal::none;
}

/// @return the state vectors; empty when the record's arrays cannot be those of a satellite.
std::vector<StateVector> vectorsOf(const SarMetadataRecord& record, const RecordTimes& times) {
    std::vector<StateVector> vectors;
    for (int axis = 0; axis < 6; ++axis)
        if (components(record)[axis].count < record.numberOfStateVectors ||
            !components(record)[axis].values)
            return vectors;
    for (int i = 0; i < record.numberOfStateVectors; ++i) {
        const auto value = [&](int axis) { return components(record)[axis].values[i]; };
        const StateVector v{times.firstVectorS + i * times.vectorIntervalS,
                            {value(0), value(1), value(2)},
                            {value(3), value(4), value(5)}};
        const double radius = norm(v.position), speed = norm(v.velocity);
        if (!(radius > lowestOrbitM && radius < farthestOrbitM && speed > 100 && speed < 2e4))
            return {};
        vectors.push_back(v);
    }
    return vectors;
}

/// Detects unevenly spaced vectors: their positions do not fit a smooth motion at even times, but
/// do at times computed from the motion.
std::optional<OrbitFit> bestFit(const std::vector<StateVector>& vectors, double durationS,
                                bool& usedOwnTimes) {
    const std::optional<OrbitFit> even = fitOrbit(vectors, durationS);
    usedOwnTimes = false;
    if (even && even->positionRmsM <= 0.03)
        return even;
    const std::optional<OrbitFit> own = fitOrbit(selfTimed(vectors), durationS);
    if (own && (!even || even->positionRmsM > 3 * own->positionRmsM)) {
        usedOwnTimes = true;
        return own;
    }
    return even;
}

Ellipsoid ellipsoidOf(const SarMetadataRecord& record) {
    if (record.semiMajorAxis > 0 && record.semiMinorAxis > 0)
        return {record.semiMajorAxis, record.semiMinorAxis};
    return {};
}

/// Checks that the lines of a ground-range image span the stated length on the ground; real ones
/// agree to 1 %, the limit is 4 %. A map fails: it contains the rotated image, so it is longer than
/// the track.
bool lineSpacingAgrees(const Model& model, const SarMetadataRecord& record) {
    if (record.rangeGeometry == 2 || !(record.sampledLineSpacing > 0))
        return true;
    const double height = model.parameters().terrainHeightM;
    const ImagePosition middle = model.centre();
    const auto first = model.imageToGround({middle.sample, 0}, height);
    const auto last = model.imageToGround({middle.sample, 2 * middle.line}, height);
    if (!first || !last)
        return false;
    const Ellipsoid& ellipsoid = model.parameters().ellipsoid;
    const double chord = norm(toEarthFixed(*last, ellipsoid) - toEarthFixed(*first, ellipsoid));
    const double arc = 2 * ellipsoid.semiMajorAxisM *
                       std::asin(std::min(1.0, chord / (2 * ellipsoid.semiMajorAxisM)));
    const double stated = record.sampledLineSpacing * (record.numberOfLines - 1);
    return std::abs(stated / arc - 1) < 0.04;
}

/// @return the model's angle that corresponds to the record's incidenceAngleCentre.
std::optional<double> comparableIncidence(const Model& model, const SarMetadataRecord& record) {
    const double height = model.parameters().terrainHeightM;
    const ImagePosition middle = model.centre();
    if (!hasHabit(record, sarmIncidenceIsEdgeMean))
        return model.incidenceDeg(middle, height);
    const auto first = model.incidenceDeg({0, middle.line}, height);
    const auto last = model.incidenceDeg({2 * middle.sample, middle.line}, height);
    if (!first || !last)
        return std::nullopt;
    return (*first + *last) / 2;
}

/// Compares the model with the record's incidence angle and line spacing.
Refusal examineModel(const Model& model, const SarMetadataRecord& record) {
    const std::optional<double> incidence = comparableIncidence(model, record);
    if (!incidence || footprint(model, 1).size() != 4)
        return Refusal::noGroundIntersection;
    const double stated = record.incidenceAngleCentre;
    if (stated > 0 && !(std::abs(*incidence - stated) <= 2))
        return Refusal::incidenceMismatch;
    return lineSpacingAgrees(model, record) ? Refusal::none : Refusal::notRadarGrid;
}

} // namespace

std::optional<Model> Model::fromRecord(const SarMetadataRecord& record, Refusal* why) {
    const auto refuse = [why](Refusal refusal) {
        if (why)
            *why = refusal;
        return std::nullopt;
    };
    const RecordTimes times = unfoldTimes(record, notedOffset(record));
    if (const Refusal fault = examineFields(record, times); fault != Refusal::none)
        return refuse(fault);

    ModelParameters parameters;
    parameters.ellipsoid = ellipsoidOf(record);
    parameters.terrainHeightM = sceneHeightM(record);
    parameters.startTimeS = times.startS;
    parameters.imageDurationS = times.durationS;
    parameters.side = record.lookDirection > 0 ? 1 : -1;
    parameters.grid = radarGrid(record, times.durationS);
    if (const Refusal fault = examineRange(parameters.grid); fault != Refusal::none)
        return refuse(fault);

    const std::vector<StateVector> vectors = vectorsOf(record, times);
    if (vectors.empty())
        return refuse(Refusal::badStateVectors);
    ModelHistory history;
    const std::optional<OrbitFit> fit = bestFit(vectors, times.durationS, history.selfTimed);
    if (!fit)
        return refuse(Refusal::arcUnusable);
    parameters.orbit = fit->orbit;

    Model model(parameters);
    history.method = fit->method;
    history.timesRepaired = times.repaired;
    history.positionRmsM = fit->positionRmsM;
    history.velocityRmsMS = fit->velocityRmsMS;
    history.firstVectorS = times.firstVectorS;
    history.vectorIntervalS = times.vectorIntervalS;
    model.history_ = history;
    if (const Refusal fault = examineModel(model, record); fault != Refusal::none)
        return refuse(fault);
    refuse(Refusal::none);
    return model;
}

} // namespace sarm
