// SPDX-License-Identifier: MIT
#include "product/bursts/burst_record.h"

#include "loader/heard.h"
#include "product/bursts/burst_grid.h"
#include "product/families/document_text.h"
#include "sarm/model.h"
#include "sarm/model_area.h"
#include "sarm/record_times.h"
#include "sarm/sarm.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

constexpr double dayS = 86400;
constexpr std::string_view burstRecordPrefix = ":SAR_Metadata@";

struct GridSize {
    std::uint32_t lines, samples;
};

double ofDay(double seconds) {
    return seconds - dayS * std::floor(seconds / dayS);
}

void setTimes(SarMetadataRecord& record, const GridPart& part, const GridSize& grid) {
    const sarm::RecordTimes times = sarm::unfoldTimes(
        record, (sarm::readModelArea(record).flags & sarm::areaNoted)
                    ? std::optional(sarm::readModelArea(record).firstVectorMinusStartS)
                    : std::nullopt);
    const double interval = times.durationS / (grid.lines - 1);
    const bool falling = record.lineTimeOrdering == 1;
    const std::int64_t earlier = falling ? grid.lines - part.line - part.lines : part.line;
    const double beginS = static_cast<double>(earlier) * interval;
    const double start = ofDay(times.startS + beginS);
    const double end = ofDay(times.startS + beginS + (part.lines - 1) * interval);
    record.firstLineTime = std::min(start, end);
    record.lastLineTime = std::max(start, end);
    record.imageDuration = record.lastLineTime - record.firstLineTime;
    sarm_NoteTimes(&record, times.firstVectorS - beginS);
}

void setPlace(SarMetadataRecord& record, const GridPart& part, const GridSize& grid) {
    const bool falling = record.pixelTimeOrdering == 1;
    const std::int64_t nearer = falling ? grid.samples - part.sample - part.samples : part.sample;
    record.slantRangeNearEdge += static_cast<double>(nearer) * record.sampledPixelSpacing;
    record.numberOfLines = static_cast<std::int32_t>(part.lines);
    record.numberOfSamplesPerLine = static_cast<std::int32_t>(part.samples);
    record.lastSample = record.numberOfSamplesPerLine - 1;
    record.sampleCount = record.numberOfSamplesPerLine;
    record.lastLine = record.numberOfLines - 1;
    record.lineCount = record.numberOfLines;
}

/// Columns of the table count in the grid.
void setIncidence(SarMetadataRecord& record, const StatedProduct& stated, const GridPart& part) {
    record.incidenceAngleCentre = 0;
    if (stated.incidenceFile().empty())
        return;
    const ColumnProfile& angles = stated.incidence();
    const double place = (static_cast<double>(part.sample) + (part.samples - 1) / 2.0 -
                          static_cast<double>(angles.first)) /
                         static_cast<double>(angles.step);
    if (place >= 0 && place <= static_cast<double>(angles.values.size()) - 1)
        record.incidenceAngleCentre = angles.values[static_cast<std::size_t>(std::lround(place))];
}

void setBurst(SarMetadataRecord& record, const StatedBurst& burst) {
    if (burst.azimuthBandwidthHz > 0)
        record.totalProcessedAzimuthBandwidth = burst.azimuthBandwidthHz;
    std::fill(std::begin(record.dopplerCentroid), std::end(record.dopplerCentroid),
              DopplerPolynomial{});
    if (!burst.doppler)
        return;
    DopplerPolynomial& centroid = record.dopplerCentroid[0];
    const std::vector<double>& stated = burst.doppler->coefficients;
    const std::size_t count = std::min(stated.size(), std::size(centroid.coefficients));
    std::copy_n(stated.begin(), count, centroid.coefficients);
    centroid.numberOfCoefficients = static_cast<std::int32_t>(count);
    centroid.referenceTime = burst.doppler->referenceTimeS;
    centroid.azimuthTime = secondsOfDayOf(burst.doppler->time);
}

/// The state vectors are those of the plug-in's record.
SarMetadataRecord partRecord(const OpenedProduct& opened, const GridPart& part) {
    const StatedProduct& stated = opened.stated();
    const BurstGrid whole(stated.bursts());
    const GridSize grid = stated.bursts().empty() ? GridSize{part.lines, part.samples}
                                                  : GridSize{whole.lines(), whole.samples()};
    if (part.line < 0 || part.sample < 0 || part.line + part.lines > grid.lines ||
        part.sample + part.samples > grid.samples || grid.lines < 2)
        throw loader::Error(opened.name() + ": " +
                            (part.burst ? "burst " + part.burst->name() + " lies" : "bursts lie") +
                            " outside the common grid; see rfsar check");
    SarMetadataRecord record = *static_cast<const SarMetadataRecord*>(opened.record().data());
    if (record.rangeGeometry != 2)
        throw loader::Error(opened.name() + ": bursts in ground range have no sensor model");
    setTimes(record, part, grid);
    setPlace(record, part, grid);
    setIncidence(record, stated, part);
    if (part.pulseRateHz > 0)
        record.pulseRepetitionFrequency = part.pulseRateHz;
    if (part.burst)
        setBurst(record, *part.burst);
    sarm_ModelEphemeris(&record, nullptr);
    return record;
}

} // namespace

std::optional<GridPart> wholeOf(const OpenedProduct& opened) {
    if (opened.hasBursts())
        return wholeGrid(opened.stated());
    if (!opened.hasStandIn())
        return std::nullopt;
    const ImageClaims stated = opened.stated().imageClaims();
    return GridPart{0, 0, stated.height, stated.width, 0, nullptr};
}

std::optional<GridPart> partOf(const OpenedProduct& opened, const ProductImage& image) {
    if (image.burst)
        return partOf(*image.burst);
    return opened.hasStandIn() ? wholeOf(opened) : std::nullopt;
}

KmifNode recordOf(const OpenedProduct& opened, const GridPart& part) {
    const SarMetadataRecord record = partRecord(opened, part);
    KmifNode node;
    kerr::Slot slot;
    if (!kmif_NodeCreate(&record, opened.record().design(), &node, slot))
        throw loader::Error(opened.name() + ": " + loader::Heard::text(*slot.get()));
    return node;
}

bool isBurstRecord(const std::string& name) {
    return name.starts_with(burstRecordPrefix);
}

KmifNode burstRecord(const OpenedProduct& opened, const std::string& name) {
    for (const StatedBurst& burst : opened.stated().bursts())
        if (burst.name() == name.substr(burstRecordPrefix.size()))
            return recordOf(opened, partOf(burst));
    throw loader::Error(opened.name() + ": has no node \"" + name + '"');
}

KxfrXFormPtr transformOf(const OpenedProduct& opened, const GridPart& part) {
    const SarMetadataRecord record = partRecord(opened, part);
    sarm::Refusal refusal{};
    const auto model = sarm::Model::fromRecord(record, &refusal);
    if (!model)
        throw loader::Error(opened.name() + ": no sensor model: " + sarm::sentence(refusal));
    kerr::Slot slot;
    KxfrXFormPtr transform(kxfr_XFormFromSarModel(*model, slot));
    if (!transform)
        throw loader::Error(opened.name() + ": " + loader::Heard::text(*slot.get()));
    return transform;
}

} // namespace product
