// SPDX-License-Identifier: MIT
#include "capella_readnodes.h"

#include "capella_files.h"
#include "image_metadata.h"
#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kprj/kprj.h"
#include "messages.h"
#include "metadata_element.h"
#include "record_parts.h"
#include "referenced_file.h"
#include "rf_constants.h"
#include "sarm/geodesy.h"
#include "text_match.h"

#include <boost/property_tree/json_parser.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using constants::speedOfLightMPerS;
constexpr char module[] = "capella_readnodes";
constexpr char operation[] = "capella_sarNodeRead";

std::u16string extendedBeside(std::u16string_view productFile, KerrException& report) {
    auto name = capella_files::besideItem(productFile, u"_extended.json");
    if (!kfio_FileExists(name)) {
        TolvanLog::Write(operation, kerrError, ktxt::narrow(name) + " does not exist");
        report.Throw(messages::noExtendedMetadata);
    }
    refuseLinksOutsideProduct(productFile, name);
    return name;
}

std::u16string findExtended(std::u16string_view productFile, KerrException& report) {
    if (!kfio_FileExists(productFile))
        return extendedBeside(productFile, report);
    const std::string file = ktxt::narrow(productFile);
    kfio::ProductTree item;
    try {
        item = kfio::readJsonTree(file);
    } catch (const boost::property_tree::json_parser_error&) { // discovery has reported it
        if (kfio_FileExists(capella_files::besideItem(productFile, u"_extended.json")))
            return extendedBeside(productFile, report);
        throw;
    }
    const std::string href = MetadataElement(item, file).text("assets.metadata.href");
    const auto named =
        href.empty() ? std::nullopt : capella_files::fileOfAsset(productFile, href);
    return named ? *named : extendedBeside(productFile, report);
}

/// The extended metadata with the objects that the record is filled from.
struct Source {
    MetadataElement collect, image, state, radar;
    bool slc, grd;

    Source(const MetadataElement& document, std::int32_t formatIndex)
        : collect(document.child("collect")), image(collect.child("image")),
          state(collect.child("state")), radar(collect.child("radar")),
          slc(formatIndex == formatCapellaSlc), grd(formatIndex == formatCapellaGrd) {}
};

std::int32_t beamModeClass(const std::string& mode) {
    if (equalsIgnoringCase(mode, "sliding_spotlight"))
        return 3;
    if (equalsIgnoringCase(mode, "stripmap"))
        return 1;
    return equalsIgnoringCase(mode, "spotlight") ? 2 : 0;
}

std::int32_t passDirection(const std::string& direction) {
    if (equalsIgnoringCase(direction, "Descending"))
        return 2;
    return equalsIgnoringCase(direction, "Ascending") ? 1 : 0;
}

TimeStamp firstLine(const Source& from) {
    constexpr char path[] = "image_geometry.first_line_time";
    from.collect.child("start_timestamp"); // required of every product
    return from.image.has(path) ? from.image.time(path, parseTimeStamp)
                                : from.collect.time("start_timestamp", parseTimeStamp);
}

/// Kept: the file lists the highest power first and is reversed; its constant gives way to the
/// near range. (CapellaReadnodes.RangePolynomialIsReversedAndCapped)
void readRangePolynomial(SarMetadataRecord& record, const Source& from) {
    std::vector<double> coefficients;
    for (const auto& element : from.image.child("image_geometry.gr_to_sr_poly_coeffs").children(""))
        coefficients.push_back(element.number(""));
    std::reverse(coefficients.begin(), coefficients.end());
    record_parts::setGroundToSlantRange(record, coefficients, from.collect.file());
    record.groundToSlantRangeCoefficients[0] = record.slantRangeNearEdge;
}

void readImage(SarMetadataRecord& record, const Source& from) {
    const double rangeStepM = from.image.number("image_geometry.delta_range_sample", 0.0);
    record.slantRangeNearEdge = from.image.number("image_geometry.range_to_first_sample", 0.0);
    record.incidenceAngleCentre = from.image.number("center_pixel.incidence_angle");
    record.sampledLineSpacing = from.image.number("pixel_spacing_row");
    record.rangeGeometry = from.slc ? 2 : 1;
    record.productGeometry = from.slc ? 3 : 0;
    record.sampledPixelSpacing =
        from.grd ? from.image.number("image_geometry.ground_range_spacing", 0.0) : rangeStepM;
    if (from.grd)
        readRangePolynomial(record, from);
    // Kept: products without the step count as decreasing, ground-range ones too.
    // (CapellaReadnodes.MissingStepsCountAsDecreasing)
    record.pixelTimeOrdering = rangeStepM <= 0.0 ? 1 : 0;
}

/// @return GPS seconds of the earliest line.
double readTimes(SarMetadataRecord& record, const Source& from) {
    const TimeStamp first = firstLine(from);
    const double stepS = from.image.number("image_geometry.delta_line_time", 0.0);
    const double spanS = record.numberOfLines * stepS;
    record_parts::setFirstLineDate(record, first.year, first.month, first.day);
    record_parts::setLineTimes(record, first.secondsOfDay(), first.secondsOfDay() + spanS);
    record.lineTimeOrdering = stepS <= 0.0 ? 1 : 0;
    return first.gpsSeconds() + std::min(spanS, 0.0);
}

void readRadar(SarMetadataRecord& record, const Source& from) {
    record.lookDirection = equalsIgnoringCase(from.radar.text("pointing"), "Right") ? 90.0 : -90.0;
    record.wavelength = speedOfLightMPerS / from.radar.number("center_frequency");
    // Kept: of several pulse repetition frequencies the last one stays.
    // (CapellaReadnodes.LastPulseRepetitionFrequencyWins)
    for (const auto& entry : from.radar.child("prf").children(""))
        record.pulseRepetitionFrequency = entry.number("prf");
    record.adcSamplingRate = from.radar.number("sampling_frequency");
    record.totalProcessedRangeBandwidth = from.radar.number("pulse_bandwidth", 0.0);
    record.totalProcessedAzimuthBandwidth = from.image.number("processed_azimuth_bandwidth");
}

std::array<double, 6> readVector(const MetadataElement& vector) {
    std::array<double, 6> values{};
    const MetadataElement position = vector.child("position");
    const MetadataElement velocity = vector.child("velocity");
    for (std::size_t i = 0; i < 3; ++i) {
        values[i] = position.child("", i).number("");
        values[i + 3] = velocity.child("", i).number("");
    }
    return values;
}

void readStateVectors(SarMetadataRecord& record, const Source& from, double earliestLineGpsS) {
    const auto vectors = from.state.child("state_vectors").children("");
    record_parts::allocateStateVectors(record, vectors.size());
    std::vector<TimeStamp> times;
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        record_parts::setStateVector(record, i, readVector(vectors[i]));
        if (times.size() < 2)
            times.push_back(vectors[i].time("time", parseTimeStamp));
    }
    record_parts::setStateVectorTimes(record, times);
    if (!times.empty())
        sarm_NoteTimes(&record, times[0].gpsSeconds() - earliestLineGpsS);
}

void readEllipsoid(SarMetadataRecord& record) {
    const KprjSpheroidPtr spheroid(kprj_SpheroidCreate());
    kerr::Slot slot;
    if (!spheroid || !kprj_SpheroidByName("WGS 84", spheroid.get(), slot))
        throw TolvanLog::Exception(slot ? slot.get()->message : "No memory");
    record.semiMajorAxis = spheroid->semiMajorAxis;
    record.semiMinorAxis = spheroid->semiMinorAxis;
}

/// Deviation: the record's terrain height stays 0, as the format has it; the model is told the
/// height of the place that the product states for the image's middle.
/// (CapellaReadnodes.TheModelTakesTheHeightOfTheMiddle)
void noteSceneHeight(SarMetadataRecord& record, const Source& from) {
    constexpr const char* path = "center_pixel.target_position";
    if (!from.image.has(path) || from.image.child(path).count("") != 3)
        return;
    const MetadataElement position = from.image.child(path);
    const auto metres = [&](std::size_t i) {
        return position.child("", i).number("", std::numeric_limits<double>::quiet_NaN());
    };
    const double heightM = sarm::toGeodetic({metres(0), metres(1), metres(2)},
                                            {record.semiMajorAxis, record.semiMinorAxis})
                               .heightM;
    constexpr double mostM = 10000, perM = 1e6; // finer digits are noise of the conversion
    if (std::abs(heightM) <= mostM)
        sarm_NoteSceneHeight(&record, std::round(heightM * perM) / perM);
}

sarm::MetadataPtr build(const Source& from) {
    auto record = record_parts::make();
    record->numberOfLines = from.image.imageSize("rows");
    record->numberOfSamplesPerLine = from.image.imageSize("columns");
    record->passDirection = passDirection(from.state.text("direction", ""));
    record->beamModeClass = beamModeClass(from.collect.text("mode"));
    readEllipsoid(*record);
    const double earliestLineGpsS = readTimes(*record, from);
    readImage(*record, from);
    readRadar(*record, from);
    readStateVectors(*record, from, earliestLineGpsS);
    // The last line's time is stored as first + N intervals. The ordering of ground-range samples
    // depends on a slant step that their products do not state.
    sarm_NoteHabits(record.get(), sarmSpanOfWholeIntervals | sarmGroundRangeRises);
    noteSceneHeight(*record, from);
    record_parts::describeModel(*record, from.collect.file());
    record_parts::setImageWindow(*record);
    return record;
}

SarMetadataRecord* readRecord(std::u16string_view productFile, std::int32_t formatIndex,
                              KerrException& report) {
    const std::string file = kfnp::clean(ktxt::narrow(findExtended(productFile, report)));
    const kfio::ProductTree document = kfio::readJsonTree(file);
    return build(Source(MetadataElement(document, file), formatIndex)).release();
}

} // namespace

SarMetadataRecord* capella_sarNodeRead(std::u16string_view productFile, std::int32_t formatIndex,
                                       KERR_REPORT** slot) {
    KerrException report(module, operation);
    try {
        return readRecord(productFile, formatIndex, report);
    } catch (const std::exception& error) {
        report.Log(error.what());
    } catch (...) {
        report.Log("unknown exception");
    }
    kerr::raise(slot, operation, report.what());
    return nullptr;
}
