// SPDX-License-Identifier: MIT
#include "rs2_readnodes.h"

#include "doppler_centroid.h"
#include "messages.h"
#include "rcm_metadata.h"
#include "record_parts.h"
#include "rf_constants.h"
#include "rs2_lmx/source/rs2prod.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace {

constexpr char function[] = "rs2_sarNodeRead";
using constants::secondsPerDay;
using constants::speedOfLightMPerS;

/// The parts of a bound product that the record is filled from.
struct Source {
    const rs2prod::c_product& product;
    const rs2prod::c_sourceAttributesDataStore& source = product.get_sourceAttributes();
    const rs2prod::c_radarParametersDataStore& radar = source.get_radarParameters();
    const rs2prod::c_orbitInformationDataStore& orbit =
        source.get_orbitAndAttitude().get_orbitInformation();
    const rs2prod::c_imageGenerationParametersDataStore& generation =
        product.get_imageGenerationParameters();
    const rs2prod::c_sarProcessingInformationDataStore& processing =
        generation.get_sarProcessingInformation();
    const rs2prod::c_imageAttributesDataStore& image = product.get_imageAttributes();
    const rs2prod::c_rasterAttributesDataStore& raster = image.get_rasterAttributes();
    const rs2prod::c_ellipsoidParametersDataStore& ellipsoid =
        image.get_geographicInformation().get_referenceEllipsoidParameters();
    const std::string file;
    const bool slc;
    const TimeStamp firstLine = rs2::timeStamp(processing.get_zeroDopplerTimeFirstLine());
    const TimeStamp lastLine = rs2::timeStamp(processing.get_zeroDopplerTimeLastLine());
};

/// Deviation: a size below 1, or that the record cannot hold, is an error instead of a window that
/// runs backwards. (Rs2Readnodes.BadProductsAreReported)
bool isImageSize(std::uint64_t size, const char* name, const Source& from, KERR_REPORT** slot) {
    if (size >= 1 && size <= std::numeric_limits<std::int32_t>::max())
        return true;
    kerr::raise(slot, function,
                from.file + ": " + name + " is " + std::to_string(size) +
                    ", which is no size of an image");
    return false;
}

/// Kept: types of the later edition ("Extra Fine", "Ocean Surveillance", "TOPS", ...) have class 0.
/// (Rs2Readnodes.OneElementDecidesOneField)
std::int32_t beamModeClass(const std::string& acquisitionType) {
    struct Class {
        const char* type;
        std::int32_t number;
    };
    constexpr Class classes[] = {
        {"Standard", 1},       {"Wide", 1},
        {"Fine", 1},           {"Multi-Look Fine", 1},
        {"Ultrafine", 1},      {"Low Incidence", 1},
        {"High Incidence", 1}, {"Standard Quad Polarization", 1},
        {"SpotlightA", 2},     {"Fine Quad Polarization", 1},
        {"SpotlightB", 2},     {"ScanSAR Narrow", 3},
        {"ScanSAR Wide", 3},
    };
    for (const Class& each : classes)
        if (acquisitionType == each.type)
            return each.number;
    return 0;
}

/// Kept: the day that is added for midnight goes by the hours alone, so that a decreasing image
/// that crosses a full hour gets it too, and a decreasing one that crosses midnight does not.
/// Only between two days in rising order the duration is the true one.
/// (Rs2Readnodes.DurationGoesByTheHours)
double imageDuration(const SarMetadataRecord& record, const TimeStamp& first,
                     const TimeStamp& last) {
    const auto date = [](const TimeStamp& t) { return std::tie(t.year, t.month, t.day); };
    if (last.hour >= first.hour)
        return record.lastLineTime - record.firstLineTime;
    if (date(first) < date(last))
        return last.secondsOfDay() - first.secondsOfDay() + secondsPerDay;
    return record.lastLineTime - record.firstLineTime + secondsPerDay;
}

void readTimes(SarMetadataRecord& record, const Source& from) {
    const TimeStamp& first = from.firstLine;
    record_parts::setFirstLineDate(record, first.year, first.month, first.day);
    record_parts::setLineTimes(record, first.secondsOfDay(), from.lastLine.secondsOfDay());
    record.imageDuration = imageDuration(record, first, from.lastLine);
}

/// Kept: a beam's frequency counts when it stands at the beam's own place in the list; without
/// one the field stays 0. One wing after the other hears every pulse twice: that doubles it.
/// (Rs2Readnodes.PulseRepetitionFrequencyFollowsBeamAndWing)
double pulseRepetitionFrequency(const rs2prod::c_radarParametersDataStore& radar) {
    double frequencyHz = 0;
    std::size_t i = 0;
    while (i < radar.size_beams() &&
           radar.get_beams(i) != radar.get_pulseRepetitionFrequency(i).get_beam(0))
        ++i;
    if (i < radar.size_beams())
        frequencyHz = radar.get_pulseRepetitionFrequency(i).get_pulseRepetitionFrequency();
    for (std::size_t k = 0; k < radar.size_settableGain(); ++k) {
        const std::string& wing = radar.get_settableGain(k).get_wing();
        if (wing == "Fore" || wing == "Aft")
            return 2 * frequencyHz;
    }
    return frequencyHz;
}

/// Kept: modes that send two pulses have the sum of both rates, the others the first one's.
/// (Rs2Readnodes.SamplingRatesOfTwoPulsesAreSummed)
double samplingRate(const rs2prod::c_radarParametersDataStore& radar) {
    const std::string& mode = radar.get_acquisitionType();
    const bool summed = mode == "Ultrafine" || mode == "SpotlightA" || mode == "SpotlightB";
    double rateHz = 0;
    for (std::size_t j = 0; j < radar.size_pulses(); ++j) {
        const auto& rate = radar.get_adcSamplingRate(j);
        if (radar.get_pulses(j) != rate.get_pulse())
            continue;
        rateHz += rate.get_adcSamplingRate();
        if (!summed)
            break;
    }
    return rateHz;
}

void readRadar(SarMetadataRecord& record, const Source& from) {
    const std::string& pass = from.orbit.get_passDirection();
    record.passDirection = pass == "Ascending" ? 1 : pass == "Descending" ? 2 : 0;
    record.beamModeClass = beamModeClass(from.radar.get_acquisitionType());
    const std::string& side = from.radar.get_antennaPointing();
    record.lookDirection = side == "Left" ? -90.0 : side == "Right" ? 90.0 : 0.0;
    record.wavelength =
        speedOfLightMPerS / from.radar.get_radarCenterFrequency().get_radarCenterFrequency();
    record.pulseRepetitionFrequency = pulseRepetitionFrequency(from.radar);
    record.adcSamplingRate = samplingRate(from.radar);
}

void readProcessing(SarMetadataRecord& record, const Source& from) {
    const auto& processing = from.processing;
    record.incidenceAngleCentre =
        (processing.get_incidenceAngleNearRange().get_incidenceAngleNearRange() +
         processing.get_incidenceAngleFarRange().get_incidenceAngleFarRange()) *
        0.5;
    record.totalProcessedRangeBandwidth =
        processing.get_totalProcessedRangeBandwidth().get_totalProcessedRangeBandwidth();
    record.totalProcessedAzimuthBandwidth =
        processing.get_totalProcessedAzimuthBandwidth().get_totalProcessedAzimuthBandwidth();
    const auto& range = processing.get_rangeWindow();
    record.rangeWindowType = record_parts::windowType(range.get_windowName());
    record.rangeWindowCoefficient = range.get_windowCoefficient();
    const auto& azimuth = processing.get_azimuthWindow();
    record.azimuthWindowType = record_parts::windowType(azimuth.get_windowName());
    record.azimuthWindowCoefficient = azimuth.get_windowCoefficient();
    record.slantRangeNearEdge = processing.get_slantRangeNearEdge().get_slantRangeNearEdge();
}

void readImage(SarMetadataRecord& record, const Source& from) {
    record.semiMajorAxis = from.ellipsoid.get_semiMajorAxis().get_semiMajorAxis();
    record.semiMinorAxis = from.ellipsoid.get_semiMinorAxis().get_semiMinorAxis();
    record.geodeticTerrainHeight =
        from.ellipsoid.get_geodeticTerrainHeight().get_geodeticTerrainHeight();
    record.sampledPixelSpacing = from.raster.get_sampledPixelSpacing().get_sampledPixelSpacing();
    record.sampledLineSpacing = from.raster.get_sampledLineSpacing().get_sampledLineSpacing();
    record.pixelTimeOrdering = from.raster.get_pixelTimeOrdering() == "Decreasing" ? 1 : 0;
    record.lineTimeOrdering = from.raster.get_lineTimeOrdering() == "Decreasing" ? 1 : 0;
    record.productGeometry = from.slc ? 3 : 0;
    record.rangeGeometry = from.slc ? 2 : 1;
    if (from.slc)
        return;
    const auto& toGround = from.generation.get_slantRangeToGroundRange(0);
    record_parts::setGroundToSlantRange(
        record,
        rs2::numbers(toGround.size_groundToSlantRangeCoefficients(),
                     [&](auto i) { return toGround.get_groundToSlantRangeCoefficients(i); }),
        from.file);
}

/// Kept: an interval across midnight goes by the hours alone; a vector that is missing has time
/// and hour 0. (Rs2Readnodes.StateVectorTimesAreFolded)
void readStateVectors(SarMetadataRecord& record, const Source& from) {
    const std::size_t count = from.orbit.size_stateVector();
    record_parts::allocateStateVectors(record, count);
    std::vector<TimeStamp> times;
    for (std::size_t i = 0; i < count; ++i) {
        const auto& vector = from.orbit.get_stateVector(i);
        record_parts::setStateVector(
            record, i,
            {vector.get_xPosition().get_xPosition(), vector.get_yPosition().get_yPosition(),
             vector.get_zPosition().get_zPosition(), vector.get_xVelocity().get_xVelocity(),
             vector.get_yVelocity().get_yVelocity(), vector.get_zVelocity().get_zVelocity()});
        if (times.size() < 2)
            times.push_back(rs2::timeStamp(vector.get_timeStamp()));
    }
    record_parts::setStateVectorTimes(record, times);
    times.resize(2);
    if (times[1].hour < times[0].hour) {
        record.stateVectorInterval += secondsPerDay;
        record.stateVectorInterval2 = record.stateVectorInterval;
    }
    if (count > 0)
        sarm_NoteTimes(&record, times[0].gpsSeconds() - std::min(from.firstLine.gpsSeconds(),
                                                                 from.lastLine.gpsSeconds()));
}

void readCentroids(SarMetadataRecord& record, const Source& from) {
    CentroidSelector selector(record, from.firstLine.gpsSeconds(), from.lastLine.gpsSeconds());
    for (std::size_t i = 0; i < from.generation.size_dopplerCentroid() && !selector.done(); ++i) {
        const auto& estimate = from.generation.get_dopplerCentroid(i);
        const TimeStamp time = rs2::timeStamp(estimate.get_timeOfDopplerCentroidEstimate());
        if (DopplerPolynomial* polynomial = selector.polynomialFor(time.gpsSeconds()))
            fillCentroid(
                *polynomial, time.secondsOfDay(),
                estimate.get_dopplerCentroidReferenceTime().get_dopplerCentroidReferenceTime(),
                rs2::numbers(estimate.size_dopplerCentroidCoefficients(),
                             [&](auto k) { return estimate.get_dopplerCentroidCoefficients(k); }),
                from.file);
    }
}

sarm::MetadataPtr buildRecord(const Source& from, KERR_REPORT** slot) {
    const std::uint64_t lines = from.raster.get_numberOfLines();
    const std::uint64_t samples = from.raster.get_numberOfSamplesPerLine();
    if (!isImageSize(lines, "numberOfLines", from, slot) ||
        !isImageSize(samples, "numberOfSamplesPerLine", from, slot))
        return nullptr;
    auto record = record_parts::make();
    record->numberOfLines = static_cast<std::int32_t>(lines);
    record->numberOfSamplesPerLine = static_cast<std::int32_t>(samples);
    readTimes(*record, from);
    readRadar(*record, from);
    readProcessing(*record, from);
    readImage(*record, from);
    readStateVectors(*record, from);
    if (from.slc)
        readCentroids(*record, from);
    sarm_NoteHabits(record.get(), sarmIncidenceIsEdgeMean);
    record->ephemerisStatus = 0;
    sarm_ModelEphemeris(record.get(), slot);
    if (*slot) {
        // Kept: without a model the record comes without an image window, and a single spotlight
        // estimate stays one. (Rs2Readnodes.WithoutAModelTheRecordIsPartial)
        kerr::raise(slot, function, messages::ephemerisFailed);
        return record;
    }
    record_parts::setImageWindow(*record);
    splitSpotlightCentroid(*record);
    return record;
}

} // namespace

SarMetadataRecord* rs2_sarNodeRead(const rs2::Document& document, std::int32_t productTypeIndex,
                                   KERR_REPORT** slot) {
    kerr::Slot own;
    KERR_REPORT** report = slot ? slot : own;
    kerr_DeleteErrorReportEx(report);
    sarm::MetadataPtr record;
    if (const rs2prod::c_product* product = document.product(function, report))
        record = buildRecord(
            {.product = *product, .file = document.file(), .slc = productTypeIndex == rs2Slc},
            report);
    kerr_PrintErrorReport(own.get());
    return record.release();
}
