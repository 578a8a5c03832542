// SPDX-License-Identifier: MIT
#include "sarm/sarm_nodes.h"

#include <records/doppler_rate_record.h>
#include <records/sar_metadata_record.h>

#include <cassert>
#include <memory>

namespace {

struct DesignDeleter {
    void operator()(KmifDesign* design) const { kmif_DesignDestroy(design); }
};
using DesignPtr = std::unique_ptr<KmifDesign, DesignDeleter>;

DesignPtr makePolynomialDesign() {
    return DesignPtr(kmif_DesignCreate(nullptr, "DopplerPolynomial",
                                       {{kmifFloat64, "azimuthTime"},
                                        {kmifFloat64, "referenceTime"},
                                        {kmifInt32, "numberOfCoefficients"},
                                        {kmifPadding, "padding", 4},
                                        {kmifInline + kmifFloat64, "coefficients", 6}}));
}

} // namespace

KmifDesign* sarm_GetSarMetadataKmifDesign() {
    const DesignPtr polynomial = makePolynomialDesign();
    if (!polynomial)
        return nullptr;
    KmifDesign* design =
        kmif_DesignCreate(nullptr, "SAR_Metadata",
                          {{kmifInt32, "recordVersion"},
                           {kmifInt32, "passDirection"},
                           {kmifInt32, "productGeometry"},
                           {kmifInt32, "beamModeClass"},
                           {kmifText, "sensorCode", 4},
                           {kmifInt32, "firstLineYear"},
                           {kmifInt32, "firstLineMonth"},
                           {kmifInt32, "firstLineDay"},
                           {kmifInt32, "firstLineDayOfYear"},
                           {kmifInt32, "numberOfSamplesPerLine"},
                           {kmifInt32, "numberOfLines"},
                           {kmifPadding, "padding02C", 4},
                           {kmifFloat64, "stateVectorFirstTime"},
                           {kmifFloat64, "stateVectorFirstTime2"},
                           {kmifFloat64, "stateVectorInterval"},
                           {kmifFloat64, "stateVectorInterval2"},
                           {kmifFloat64, "firstLineTime"},
                           {kmifFloat64, "lastLineTime"},
                           {kmifFloat64, "imageDuration"},
                           {kmifFloat64, "semiMajorAxis"},
                           {kmifFloat64, "semiMinorAxis"},
                           {kmifFloat64, "geodeticTerrainHeight"},
                           {kmifFloat64, "lookDirection"},
                           {kmifFloat64, "incidenceAngleCentre"},
                           {kmifFloat64, "wavelength"},
                           {kmifFloat64, "adcSamplingRate"},
                           {kmifFloat64, "pulseRepetitionFrequency"},
                           {kmifFloat64, "totalProcessedRangeBandwidth"},
                           {kmifFloat64, "totalProcessedAzimuthBandwidth"},
                           {kmifInt32, "rangeWindowType"},
                           {kmifPadding, "padding0BC", 4},
                           {kmifFloat64, "rangeWindowCoefficient"},
                           {kmifInt32, "azimuthWindowType"},
                           {kmifPadding, "padding0CC", 4},
                           {kmifFloat64, "azimuthWindowCoefficient"},
                           {kmifInline + kmifNested, "dopplerCentroid", 2, polynomial.get()},
                           {kmifFloat64, "sampledPixelSpacing"},
                           {kmifFloat64, "sampledLineSpacing"},
                           {kmifFloat64, "slantRangeNearEdge"},
                           {kmifInt32, "numberOfStateVectors"},
                           {kmifInt32, "rangeGeometry"},
                           {kmifInline + kmifFloat64, "groundToSlantRangeCoefficients", 6},
                           {kmifInt32, "pixelTimeOrdering"},
                           {kmifInt32, "lineTimeOrdering"},
                           {kmifArray + kmifFloat64, "stateVectorXPosition"},
                           {kmifArray + kmifFloat64, "stateVectorYPosition"},
                           {kmifArray + kmifFloat64, "stateVectorZPosition"},
                           {kmifArray + kmifFloat64, "stateVectorXVelocity"},
                           {kmifArray + kmifFloat64, "stateVectorYVelocity"},
                           {kmifArray + kmifFloat64, "stateVectorZVelocity"},
                           {kmifInt32, "ephemerisStatus"},
                           {kmifPadding, "modelArea", 148},
                           {kmifInt32, "imageWindowValid"},
                           {kmifInt32, "firstSample"},
                           {kmifInt32, "lastSample"},
                           {kmifInt32, "sampleStep"},
                           {kmifInt32, "sampleCount"},
                           {kmifInt32, "firstLine"},
                           {kmifInt32, "lastLine"},
                           {kmifInt32, "lineStep"},
                           {kmifInt32, "lineCount"},
                           {kmifPadding, "padding2DC", 4}});
    assert(!design || kmif_DesignSize(design) == sizeof(SarMetadataRecord));
    return design;
}

KmifDesign* sarm_GetDopplerRateKmifDesign() {
    KmifDesign* design = kmif_DesignCreate(nullptr, "Doppler",
                                           {{kmifInt32, "rateEstimateCount"},
                                            {kmifPadding, "rateEstimateCountPadding", 4},
                                            {kmifInt32, "rateTimeCount"},
                                            {kmifCounted + kmifFloat64, "rateTimes"},
                                            {kmifInt32, "rateReferenceCount"},
                                            {kmifCounted + kmifFloat64, "rateReferenceTimes"},
                                            {kmifInt32, "rateCoefficientCount"},
                                            {kmifPadding, "rateCoefficientCountPadding", 4},
                                            {kmifInt32, "rateCoefficientTotal"},
                                            {kmifCounted + kmifFloat64, "rateCoefficients"},
                                            {kmifInt32, "centroidEstimateCount"},
                                            {kmifPadding, "centroidEstimateCountPadding", 4},
                                            {kmifInt32, "centroidTimeCount"},
                                            {kmifCounted + kmifFloat64, "centroidTimes"},
                                            {kmifInt32, "centroidReferenceCount"},
                                            {kmifCounted + kmifFloat64, "centroidReferenceTimes"},
                                            {kmifInt32, "centroidCoefficientCount"},
                                            {kmifPadding, "centroidCoefficientCountPadding", 4},
                                            {kmifInt32, "centroidCoefficientTotal"},
                                            {kmifCounted + kmifFloat64, "centroidCoefficients"},
                                            {kmifPadding, "reserved", 32}});
    assert(!design || kmif_DesignSize(design) == sizeof(DopplerRateRecord));
    return design;
}

void sarm_CreateMIFNode(const void* data, const KmifDesign* design, KmifDictionary* dictionary,
                        void* a, void*, void*, void*, KERR_REPORT** slot) {
    if (dictionary && design && !kmif_DictionaryAddDesign(dictionary, design, slot))
        return;
    kmif_NodeCreate(data, design, static_cast<KmifNode*>(a), slot);
}
