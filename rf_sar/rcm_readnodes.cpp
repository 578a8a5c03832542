// SPDX-License-Identifier: MIT
#include "rcm_readnodes.h"

#include "doppler_centroid.h"
#include "kerr/kerr.h"
#include "kfnp/kfnp.h"
#include "ktxt/ktxt.h"
#include "metadata_element.h"
#include "rcm_metadata.h"
#include "record_parts.h"
#include "referenced_file.h"
#include "rf_constants.h"
#include "text_match.h"

#include <algorithm>
#include <cstdlib>

namespace {

using constants::speedOfLightMPerS;

constexpr std::int32_t stripBeamMode = 1; ///< stripmap and ScanSAR; 2 is spotlight

/// The elements that contain everything else; each of them must exist.
struct Source {
    MetadataElement product;
    MetadataElement doppler = product.child("dopplerCentroid");
    MetadataElement anyEstimate = doppler.child("dopplerCentroidEstimate");
    MetadataElement dopplerRate = product.child("dopplerRate.dopplerRateEstimate");
    MetadataElement reference = product.child("imageReferenceAttributes");
    MetadataElement raster = reference.child("rasterAttributes");
    MetadataElement ellipsoid = reference.child("geographicInformation.ellipsoidParameters");
    MetadataElement image = product.child("sceneAttributes.imageAttributes");
    MetadataElement source = product.child("sourceAttributes");
    MetadataElement radar = source.child("radarParameters");
    MetadataElement orbit = source.child("orbitAndAttitude.orbitInformation");
    MetadataElement generation = product.child("imageGenerationParameters");
    MetadataElement processing = generation.child("sarProcessingInformation");

    explicit Source(const MetadataElement& document) : product(document.child("product")) {}
};

TimeStamp timeOf(const MetadataElement& element, const char* path) {
    return element.time(path, parseTimeStampWithZone);
}

std::int32_t beamModeClass(const std::string& mode) {
    constexpr const char* stripmap[] = {"Ship Detection",         "Low Noise",
                                        "Low Resolution 100m",    "Medium Resolution 50m",
                                        "Medium Resolution 30m",  "Quad-Polarization",
                                        "Medium Resolution 16m",  "High Resolution 5m",
                                        "Very High Resolution 3m"};
    for (const char* name : stripmap)
        if (equalsIgnoringCase(mode, name))
            return stripBeamMode;
    return equalsIgnoringCase(mode, "Spotlight") ? 2 : 0;
}

/// GPS seconds of the file's first and last line.
struct LineTimes {
    double first, last;
};

LineTimes readTimes(SarMetadataRecord& record, const Source& from) {
    const TimeStamp first = timeOf(from.processing, "zeroDopplerTimeFirstLine");
    const TimeStamp last = timeOf(from.processing, "zeroDopplerTimeLastLine");
    record_parts::setFirstLineDate(record, first.year, first.month, first.day);
    record_parts::setLineTimes(record, first.secondsOfDay(), last.secondsOfDay());
    return {first.gpsSeconds(), last.gpsSeconds()};
}

/// Kept: of N angles the one numbered N/2, counted from 1 and rounded down, stands for the centre;
/// of a single one none does. (RcmReadnodes.CentreIncidenceIsTheLowerMiddleAngle)
double readCentreIncidence(const std::string& productFile, const std::string& name,
                           std::shared_ptr<const kfio::ProductTree>& table) {
    refuseNamesOutsideProduct(name);
    const std::string folder = ktxt::narrow(kfnp_FileNameGetPathPart(ktxt::widen(productFile)));
    const std::string file = kfnp::clean(folder + "/calibration/" + name);
    refuseLinksOutsideProduct(ktxt::widen(productFile), ktxt::widen(file));
    table = kfio::sharedXmlTree(file);
    const MetadataElement angles = MetadataElement(*table, file).child("incidenceAngles");
    angles.number("angles");
    const std::size_t count = angles.count("angles");
    const double centre = count < 2 ? 0.0 : angles.child("angles", count / 2 - 1).number("");
    if (!(centre >= 0 && centre < 90))
        TolvanLog::Write("readCentreIncidence", kerrWarning,
                         file + ": incidenceAngles.angles[" + std::to_string(count / 2 - 1) +
                             "] is " + std::to_string(centre) + ", which is no incidence angle");
    return centre;
}

void readRadar(SarMetadataRecord& record, const Source& from) {
    record.wavelength = speedOfLightMPerS / from.radar.number("radarCenterFrequency");
    record.pulseRepetitionFrequency = from.radar.number("prfInformation.pulseRepetitionFrequency");
    record.adcSamplingRate = from.radar.number("adcSamplingRate");
    record.totalProcessedRangeBandwidth = from.processing.number("totalProcessedRangeBandwidth");
    record.totalProcessedAzimuthBandwidth =
        from.processing.number("totalProcessedAzimuthBandwidth");
    record.rangeWindowType =
        record_parts::windowType(from.processing.text("rangeWindow.windowName"));
    record.rangeWindowCoefficient = from.processing.number("rangeWindow.windowCoefficient");
    record.azimuthWindowType =
        record_parts::windowType(from.processing.text("azimuthWindow.windowName"));
    record.azimuthWindowCoefficient = from.processing.number("azimuthWindow.windowCoefficient");
    from.radar.child("beams"); // required of every product
}

void readImage(SarMetadataRecord& record, const Source& from, bool slc) {
    record.semiMajorAxis = from.ellipsoid.number("semiMajorAxis");
    record.semiMinorAxis = from.ellipsoid.number("semiMinorAxis");
    record.geodeticTerrainHeight = from.ellipsoid.number("geodeticTerrainHeight");
    record.sampledPixelSpacing = from.raster.number("sampledPixelSpacing");
    record.sampledLineSpacing = from.raster.number("sampledLineSpacing");
    record.slantRangeNearEdge = from.image.number("slantRangeNearEdge");
    record.productGeometry = slc ? 3 : 0;
    record.rangeGeometry = slc ? 2 : 1;
    if (!slc)
        record_parts::setGroundToSlantRange(
            record,
            from.generation.numbers("slantRangeToGroundRange.groundToSlantRangeCoefficients"),
            from.product.file());
    const auto ordering = [&](const char* name) {
        return equalsIgnoringCase(from.raster.text(name), "Increasing") ? 0 : 1;
    };
    record.pixelTimeOrdering = ordering("pixelTimeOrdering");
    record.lineTimeOrdering = ordering("lineTimeOrdering");
}

void readStateVectors(SarMetadataRecord& record, const Source& from, const LineTimes& lines) {
    const auto vectors = from.orbit.children("stateVector");
    record_parts::allocateStateVectors(record, vectors.size());
    std::vector<TimeStamp> times;
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const MetadataElement& vector = vectors[i];
        record_parts::setStateVector(record, i,
                                     {vector.number("xPosition"), vector.number("yPosition"),
                                      vector.number("zPosition"), vector.number("xVelocity"),
                                      vector.number("yVelocity"), vector.number("zVelocity")});
        if (times.size() < 2)
            times.push_back(timeOf(vector, "timeStamp"));
    }
    record_parts::setStateVectorTimes(record, times);
    if (!times.empty())
        sarm_NoteTimes(&record, times[0].gpsSeconds() - std::min(lines.first, lines.last));
}

void readCentroids(SarMetadataRecord& record, const Source& from, const LineTimes& lines) {
    // Required of every slant-range product, although the record does not hold them.
    from.generation.number("slantRangeToGroundRange.slantRangeTimeToFirstRangeSample");
    from.dopplerRate.numbers("dopplerRateCoefficients");
    from.doppler.number("numberOfEstimates");

    CentroidSelector selector(record, lines.first, lines.last);
    for (const auto& estimate : from.doppler.children("dopplerCentroidEstimate")) {
        const TimeStamp time = timeOf(estimate, "timeOfDopplerCentroidEstimate");
        if (DopplerPolynomial* polynomial = selector.polynomialFor(time.gpsSeconds()))
            fillCentroid(*polynomial, time.secondsOfDay(),
                         estimate.number("dopplerCentroidReferenceTime"),
                         estimate.numbers("dopplerCentroidCoefficients"), from.product.file());
        if (selector.done())
            break;
    }
}

/// @return whether the model uses line times of strips a quarter of the pulse interval earlier than
///         stated, as in their tie points; the environment may ask for the stated ones.
bool correctsLineTimes(const std::string& file) {
    const char* text = std::getenv("RF_SAR_RCM_LINE_TIMES");
    const std::string choice = text && *text ? text : "corrected";
    if (choice != "corrected" && choice != "stated")
        TolvanLog::Write("correctsLineTimes", kerrWarning,
                         file + ": the environment's RF_SAR_RCM_LINE_TIMES is \"" + choice +
                             "\", neither \"stated\" nor \"corrected\"; \"corrected\" is taken");
    return choice != "stated";
}

void complete(SarMetadataRecord& record, const std::string& file) {
    record_parts::describeModel(record, file);
    record_parts::setImageWindow(record);
    splitSpotlightCentroid(record);
    // Kept: the model is described twice, the second time from the split polynomials; the first
    // time has told what there was to tell. (RcmReadnodes.OneSpotlightEstimateBecomesTwo)
    record.ephemerisStatus = 0;
    sarm_ModelEphemeris(&record, nullptr);
}

} // namespace

SarMetadataRecord* rcm_sarNodeRead(const kfio::ProductTree& document,
                                   std::u16string_view productFile, std::int32_t productTypeIndex,
                                   std::shared_ptr<const kfio::ProductTree>& incidenceAngles) {
    const std::string file = ktxt::narrow(productFile);
    const bool slc = productTypeIndex == rcmSlc;
    auto record = record_parts::make();
    const Source from(MetadataElement(document, file));
    record->numberOfLines = from.image.imageSize("numLines");
    record->numberOfSamplesPerLine = from.image.imageSize("samplesPerLine");
    record->passDirection =
        equalsIgnoringCase(from.orbit.text("passDirection"), "Descending") ? 2 : 1;
    record->beamModeClass = beamModeClass(from.source.text("beamMode"));
    const LineTimes lines = readTimes(*record, from);
    record->lookDirection =
        equalsIgnoringCase(from.radar.text("antennaPointing"), "Right") ? 90.0 : -90.0;
    record->incidenceAngleCentre =
        readCentreIncidence(file, from.reference.text("incidenceAngleFileName"), incidenceAngles);
    readRadar(*record, from);
    readImage(*record, from, slc);
    readStateVectors(*record, from, lines);
    if (slc)
        readCentroids(*record, from, lines);
    // Deviation: the record keeps the stated line times, the model is told that they are late.
    // (RcmReadnodes.LineTimesOfStripsAreLate)
    if (record->beamModeClass == stripBeamMode)
        sarm_NoteLateLineTimes(record.get(), correctsLineTimes(file));
    complete(*record, file);
    return record.release();
}
