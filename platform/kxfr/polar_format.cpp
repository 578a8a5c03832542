// SPDX-License-Identifier: MIT
#include "kxfr/sensor_part.h"

namespace kxfr {
namespace {

using sarm::PolarFormatParameters;

class PolarFormat final : public SensorPart {
public:
    explicit PolarFormat(const PolarFormatParameters& parameters) : model_(parameters) {}

    std::string_view designName() const override { return "PolarFormat"; }
    const void* data() const override { return &model_.parameters(); }
    const sarm::SensorModel* sensorModel() const override { return &model_; }

private:
    sarm::PolarFormatModel model_;
};

} // namespace

PartPtr makePolarFormat(const PolarFormatParameters& parameters) {
    if (const char* fault = sarm::faultOf(parameters))
        throw std::runtime_error(fault);
    return std::make_unique<PolarFormat>(parameters);
}

// The design describes sarm::PolarFormatParameters in place; a missing member would change the
// size. (Kxfr.DesignsDescribeTheStructures)
KmifDesign* polarFormatDesign(KERR_REPORT** slot) {
    const kmif::DesignPtr ellipsoid = ellipsoidDesign(slot);
    if (!ellipsoid)
        return nullptr;
    return kmif_DesignCreate(nullptr, "PolarFormat",
                             {{kmifNested, "ellipsoid", 1, ellipsoid.get()},
                              {kmifFloat64, "terrainHeight"},
                              {kmifInline + kmifFloat64, "antennaPosition", 3},
                              {kmifInline + kmifFloat64, "antennaVelocity", 3},
                              {kmifInline + kmifFloat64, "referencePoint", 3},
                              {kmifFloat64, "referenceSample"},
                              {kmifFloat64, "referenceLine"},
                              {kmifFloat64, "sampleSpacing"},
                              {kmifFloat64, "lineSpacing"},
                              {kmifFloat64, "polarAngle"},
                              {kmifFloat64, "polarAngleRate"},
                              {kmifFloat64, "scaleFactor"},
                              {kmifFloat64, "scaleFactorSlope"},
                              {kmifInt32, "numberOfLines"},
                              {kmifInt32, "numberOfSamples"}},
                             slot);
}

} // namespace kxfr
