// SPDX-License-Identifier: MIT
#include "sarm/sarm.h"

#include "kmsc/kmsc.h"
#include "sarm/model.h"
#include "sarm/model_area.h"

#include <cmath>

namespace {

sarm::ModelArea describe(const sarm::Model& model) {
    const sarm::ModelParameters& p = model.parameters();
    const sarm::ModelHistory& history = model.history();
    sarm::ModelArea area{};
    area.flags = sarm::areaModelled | (history.timesRepaired ? sarm::areaTimesRepaired : 0u) |
                 (history.selfTimed ? sarm::areaSelfTimed : 0u);
    area.method = static_cast<std::int16_t>(history.method);
    area.positionDegree = static_cast<std::int16_t>(p.orbit.positionDegree);
    area.velocityDegree = static_cast<std::int16_t>(p.orbit.velocityDegree);
    area.startTimeS = p.startTimeS;
    area.imageDurationS = p.imageDurationS;
    area.firstVectorS = history.firstVectorS;
    area.vectorIntervalS = history.vectorIntervalS;
    area.lineIntervalS = std::abs(p.grid.timePerLineS);
    area.positionRmsM = history.positionRmsM;
    area.velocityRmsMS = history.velocityRmsMS;
    area.centreIncidenceDeg = model.incidenceDeg(model.centre(), p.terrainHeightM).value_or(0);
    const sarm::StateVector state = sarm::stateAt(p.orbit, p.imageDurationS / 2);
    const double values[6] = {state.position.x, state.position.y, state.position.z,
                              state.velocity.x, state.velocity.y, state.velocity.z};
    for (int i = 0; i < 6; ++i)
        area.centreState[i] = values[i];
    return area;
}

} // namespace

double sarm_GetAzimuthTime(DopplerPolynomial polynomial) {
    return polynomial.azimuthTime;
}

void sarm_NoteTimes(SarMetadataRecord* record, double firstVectorMinusFirstLineS) {
    sarm::ModelArea area = sarm::readModelArea(*record);
    area.flags |= sarm::areaNoted;
    area.firstVectorMinusStartS = firstVectorMinusFirstLineS;
    sarm::writeModelArea(*record, area);
}

void sarm_NoteHabits(SarMetadataRecord* record, std::uint32_t habits) {
    sarm::ModelArea area = sarm::readModelArea(*record);
    area.flags = (area.flags & ~sarm::areaHabits) | (habits << sarm::areaHabitShift);
    sarm::writeModelArea(*record, area);
}

void sarm_NoteLateLineTimes(SarMetadataRecord* record, bool corrected) {
    sarm::ModelArea area = sarm::readModelArea(*record);
    area.flags |= sarm::areaLateLineTimes;
    area.flags &= ~static_cast<std::uint32_t>(sarm::areaCorrectedLineTimes);
    area.flags |= corrected ? sarm::areaCorrectedLineTimes : 0u;
    sarm::writeModelArea(*record, area);
}

void sarm_NoteSceneHeight(SarMetadataRecord* record, double heightM) {
    sarm::ModelArea area = sarm::readModelArea(*record);
    area.flags |= sarm::areaSceneHeight;
    area.terrainHeightM = heightM;
    sarm::writeModelArea(*record, area);
}

void sarm_ModelEphemeris(SarMetadataRecord* record, KERR_REPORT** slot) {
    sarm::Refusal refusal = sarm::Refusal::none;
    const std::optional<sarm::Model> model = sarm::Model::fromRecord(*record, &refusal);
    const sarm::ModelArea before = sarm::readModelArea(*record);
    sarm::ModelArea area{};
    if (model)
        area = describe(*model);
    else
        area.flags = sarm::areaRefused;
    area.magic = sarm::modelAreaMagic;
    area.refusal = static_cast<std::int32_t>(refusal);
    area.flags |= before.flags & sarm::areaOfReader;
    area.firstVectorMinusStartS = before.firstVectorMinusStartS;
    area.terrainHeightM = sarm::sceneHeightM(*record);
    sarm::writeModelArea(*record, area);
    if (!model)
        kerr::raise(slot, "sarm_ModelEphemeris", sarm::sentence(refusal));
}

void sarm_File2Model(double fileX, double fileY, const SarMetadataRecord* record, double* modelX,
                     double* modelY) {
    *modelX = sarm::samplesDecrease(*record) ? record->numberOfSamplesPerLine - 1 - fileX : fileX;
    *modelY = record->lineTimeOrdering == 1 ? record->numberOfLines - 1 - fileY : fileY;
}

void sarm_ReleaseMetadata(SarMetadataRecord* record) {
    if (!record)
        return;
    for (const StateVectorComponent* component :
         {&record->stateVectorXPosition, &record->stateVectorYPosition,
          &record->stateVectorZPosition, &record->stateVectorXVelocity,
          &record->stateVectorYVelocity, &record->stateVectorZVelocity})
        kmsc_HeapFree(component->values);
    kmsc_HeapFree(record);
}
