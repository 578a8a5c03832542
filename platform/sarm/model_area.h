// SPDX-License-Identifier: MIT
#pragma once

#include "records/sar_metadata_record.h"
#include "rf_platform_api.h"
#include "sarm/sarm.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace sarm {

enum ModelAreaFlags : std::uint32_t {
    areaNoted = 1,               ///< the reader set firstVectorMinusStartS
    areaModelled = 2,            ///< the values below describe a model
    areaRefused = 4,             ///< `refusal` says why there is no model
    areaTimesRepaired = 8,       ///< midnight was unfolded
    areaSelfTimed = 16,          ///< uneven state vectors were timed from their motion
    areaLateLineTimes = 32,      ///< the reader said that line times are late
    areaCorrectedLineTimes = 64, ///< and the model uses the earlier ones
    areaSceneHeight = 128,       ///< the reader set terrainHeightM
    areaHabits = 7 << 8,         ///< SarmHabit as set by the reader, from areaHabitShift on
    /// The flags set by readers; the library's own description does not change them.
    areaOfReader = areaNoted | areaLateLineTimes | areaCorrectedLineTimes | areaSceneHeight |
                   areaHabits,
};
constexpr int areaHabitShift = 8;

/// The content of SarMetadataRecord::modelArea: a summary of the model for diagnosis, and what a
/// reader noted. The coefficients do not fit into it; the model is rebuilt from the record's
/// fields. The area holds the first 148 bytes, little-endian. It is not aligned, so copy it out
/// with readModelArea.
struct ModelArea {
    double firstVectorMinusStartS; ///< as noted; 0 without areaNoted
    double startTimeS;             ///< unfolded s of day of the earliest line
    double imageDurationS;
    double firstVectorS;    ///< unfolded, s from the start of the image
    double vectorIntervalS; ///< as unfolded
    double lineIntervalS;   ///< magnitude
    double positionRmsM;    ///< residual of the orbit fit
    double velocityRmsMS;
    double centreIncidenceDeg; ///< at the terrain height
    double terrainHeightM;     ///< of the model: set by the reader, else the record's
    double centreState[6];     ///< earth-fixed m and m/s, at the image's middle time
    std::int32_t magic;        ///< modelAreaMagic: layout 1
    std::uint32_t flags;       ///< ModelAreaFlags
    std::int32_t refusal;      ///< sarm::Refusal
    std::int16_t method;       ///< sarm::OrbitMethod
    std::int16_t positionDegree;
    std::int16_t velocityDegree;
    std::int16_t padding; ///< 0
};

constexpr std::int32_t modelAreaMagic = 0x314D4153; // "SAM1"
constexpr std::size_t modelAreaBytes = sizeof(SarMetadataRecord::modelArea);

static_assert(offsetof(ModelArea, padding) + sizeof(ModelArea::padding) == modelAreaBytes);
static_assert(offsetof(ModelArea, startTimeS) == 8);
static_assert(offsetof(ModelArea, imageDurationS) == 16);
static_assert(offsetof(ModelArea, firstVectorS) == 24);
static_assert(offsetof(ModelArea, vectorIntervalS) == 32);
static_assert(offsetof(ModelArea, lineIntervalS) == 40);
static_assert(offsetof(ModelArea, positionRmsM) == 48);
static_assert(offsetof(ModelArea, velocityRmsMS) == 56);
static_assert(offsetof(ModelArea, centreIncidenceDeg) == 64);
static_assert(offsetof(ModelArea, terrainHeightM) == 72);
static_assert(offsetof(ModelArea, centreState) == 80);
static_assert(offsetof(ModelArea, magic) == 128);
static_assert(offsetof(ModelArea, flags) == 132);
static_assert(offsetof(ModelArea, refusal) == 136);
static_assert(offsetof(ModelArea, method) == 140);
static_assert(offsetof(ModelArea, positionDegree) == 142);
static_assert(offsetof(ModelArea, velocityDegree) == 144);

/// @return the area of a record; all zero (with the magic) when the library has not written it.
RF_PLATFORM_API ModelArea readModelArea(const SarMetadataRecord& record);
void writeModelArea(SarMetadataRecord& record, const ModelArea& area);

/// @return whether the reader set the habit (sarm_NoteHabits).
bool hasHabit(const SarMetadataRecord& record, SarmHabit habit);

/// @return what sarm_NoteTimes stored.
std::optional<double> notedOffset(const SarMetadataRecord& record);

/// @return the scene height of the model, m above the ellipsoid: what sarm_NoteSceneHeight stored,
///         else the record's.
RF_PLATFORM_API double sceneHeightM(const SarMetadataRecord& record);

/// @return the record's line times minus those that the model uses, s; 0 unless
///         sarm_NoteLateLineTimes asked for the correction.
double correctedLatenessS(const SarMetadataRecord& record);

} // namespace sarm
