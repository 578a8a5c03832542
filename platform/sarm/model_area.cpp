// SPDX-License-Identifier: MIT
#include "sarm/model_area.h"

#include <cstring>

namespace sarm {

ModelArea readModelArea(const SarMetadataRecord& record) {
    ModelArea area{};
    std::memcpy(&area, record.modelArea, modelAreaBytes);
    if (area.magic != modelAreaMagic) {
        area = {};
        area.magic = modelAreaMagic;
    }
    return area;
}

void writeModelArea(SarMetadataRecord& record, const ModelArea& area) {
    std::memcpy(record.modelArea, &area, modelAreaBytes);
}

bool hasHabit(const SarMetadataRecord& record, SarmHabit habit) {
    return ((readModelArea(record).flags & areaHabits) >> areaHabitShift & habit) != 0;
}

std::optional<double> notedOffset(const SarMetadataRecord& record) {
    const ModelArea area = readModelArea(record);
    if (!(area.flags & areaNoted))
        return std::nullopt;
    return area.firstVectorMinusStartS;
}

double sceneHeightM(const SarMetadataRecord& record) {
    const ModelArea area = readModelArea(record);
    return area.flags & areaSceneHeight ? area.terrainHeightM : record.geodeticTerrainHeight;
}

double correctedLatenessS(const SarMetadataRecord& record) {
    const bool corrected = readModelArea(record).flags & areaCorrectedLineTimes;
    return corrected && record.pulseRepetitionFrequency > 0 ? 0.25 / record.pulseRepetitionFrequency
                                                            : 0;
}

} // namespace sarm
