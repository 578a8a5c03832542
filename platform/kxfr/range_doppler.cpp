// SPDX-License-Identifier: MIT
#include "kxfr/sensor_part.h"

#include <cmath>

namespace kxfr {
namespace {

using sarm::ModelParameters;

class RangeDoppler final : public SensorPart {
public:
    explicit RangeDoppler(const ModelParameters& parameters) : model_(parameters) {}

    std::string_view designName() const override { return "RangeDoppler"; }
    const void* data() const override { return &model_.parameters(); }
    const sarm::SensorModel* sensorModel() const override { return &model_; }

private:
    sarm::Model model_;
};

void requirePositive(double number, const char* name) {
    if (!(number > 0))
        throw std::runtime_error(std::string(name) + " is not positive");
}

void requireDegree(int degree, const char* name) {
    if (degree < 0 || degree > sarm::maxOrbitDegree)
        throw std::runtime_error(std::string(name) + " is out of range");
}

/// The model trusts its parameters, so those decoded from texts are checked here.
void check(const ModelParameters& p) {
    requireFinite({{p.ellipsoid.semiMajorAxisM, p.ellipsoid.semiMinorAxisM, p.terrainHeightM,
                    p.startTimeS, p.imageDurationS, p.side, p.grid.timeOfLine0S,
                    p.grid.timePerLineS, p.grid.rangeOfSample0M, p.grid.rangePerSampleM,
                    p.grid.rangeExtentM, p.orbit.centreTimeS, p.orbit.halfSpanS}});
    requireFinite(p.grid.slantRange);
    for (const auto& axis : p.orbit.position)
        requireFinite(axis);
    for (const auto& axis : p.orbit.velocity)
        requireFinite(axis);
    requirePositive(p.ellipsoid.semiMajorAxisM, "semiMajorAxis");
    requirePositive(p.ellipsoid.semiMinorAxisM, "semiMinorAxis");
    requirePositive(p.imageDurationS, "imageDuration");
    requirePositive(p.orbit.halfSpanS, "halfSpan");
    requirePositive(p.grid.numberOfLines, "numberOfLines");
    requirePositive(p.grid.numberOfSamples, "numberOfSamples");
    requirePositive(std::abs(p.grid.timePerLineS), "timePerLine");
    requirePositive(std::abs(p.grid.rangePerSampleM), "rangePerSample");
    requireDegree(p.orbit.positionDegree, "positionDegree");
    requireDegree(p.orbit.velocityDegree, "velocityDegree");
    if (std::abs(p.side) != 1)
        throw std::runtime_error("side is neither 1 nor -1");
}

using kmif::DesignPtr;

constexpr auto orbitNumbers = std::size_t{3} * (sarm::maxOrbitDegree + 1);

DesignPtr gridDesign(KERR_REPORT** slot) {
    return DesignPtr(kmif_DesignCreate(nullptr, "RadarGrid",
                                       {{kmifInt32, "numberOfLines"},
                                        {kmifInt32, "numberOfSamples"},
                                        {kmifFloat64, "timeOfLine0"},
                                        {kmifFloat64, "timePerLine"},
                                        {kmifFloat64, "rangeOfSample0"},
                                        {kmifFloat64, "rangePerSample"},
                                        {kmifFloat64, "rangeExtent"},
                                        {kmifInline + kmifFloat64, "slantRange", 6}},
                                       slot));
}

DesignPtr orbitDesign(KERR_REPORT** slot) {
    return DesignPtr(kmif_DesignCreate(nullptr, "Orbit",
                                       {{kmifFloat64, "centreTime"},
                                        {kmifFloat64, "halfSpan"},
                                        {kmifInt32, "positionDegree"},
                                        {kmifInt32, "velocityDegree"},
                                        {kmifInline + kmifFloat64, "position", orbitNumbers},
                                        {kmifInline + kmifFloat64, "velocity", orbitNumbers}},
                                       slot));
}

} // namespace

PartPtr makeRangeDoppler(const ModelParameters& parameters) {
    check(parameters);
    return std::make_unique<RangeDoppler>(parameters);
}

// The design describes sarm::ModelParameters in place; a missing member would change the size.
// (Kxfr.DesignsDescribeTheStructures)
KmifDesign* rangeDopplerDesign(KERR_REPORT** slot) {
    const DesignPtr ellipsoid = ellipsoidDesign(slot);
    const DesignPtr grid = gridDesign(slot);
    const DesignPtr orbit = orbitDesign(slot);
    if (!ellipsoid || !grid || !orbit)
        return nullptr;
    return kmif_DesignCreate(nullptr, "RangeDoppler",
                             {{kmifNested, "ellipsoid", 1, ellipsoid.get()},
                              {kmifFloat64, "terrainHeight"},
                              {kmifFloat64, "startTime"},
                              {kmifFloat64, "imageDuration"},
                              {kmifFloat64, "side"},
                              {kmifNested, "grid", 1, grid.get()},
                              {kmifNested, "orbit", 1, orbit.get()}},
                             slot);
}

} // namespace kxfr
