// SPDX-License-Identifier: MIT
#include "product/checks/line_times.h"

#include "product/bursts/burst_record.h"
#include "sarm/model.h"
#include "sarm/model_area.h"
#include "sarm/sarm.h"

#include <cmath>
#include <sstream>

namespace product {
namespace {

/// @return NaN when a point has no solution or the record has no model.
double lineRms(SarMetadataRecord record, bool corrected, const std::vector<TiePoint>& ties) {
    sarm_NoteLateLineTimes(&record, corrected);
    const auto model = sarm::Model::fromRecord(record);
    double squares = 0;
    for (const TiePoint& tie : ties) {
        const auto image =
            model ? model->groundToImage({tie.lonDeg, tie.latDeg, tie.heightM}) : std::nullopt;
        squares += image ? std::pow(image->line - tie.line, 2) : std::nan("");
    }
    return std::sqrt(squares / static_cast<double>(ties.size()));
}

} // namespace

bool LineTimeResiduals::othersFitBetter() const {
    constexpr double matters = 0.02; // lines; residual of correct times on known products
    const double used = corrected ? correctedRms : statedRms;
    const double other = corrected ? statedRms : correctedRms;
    return used > matters && other < used / 2;
}

std::string LineTimeResiduals::text() const {
    std::ostringstream out;
    out.precision(4);
    out << std::fixed << "line times against the product's tie points: line rms " << statedRms
        << (corrected ? "" : " (in use)") << " as stated, " << correctedRms
        << (corrected ? " (in use)" : "") << " a quarter of the pulse interval earlier";
    return out.str();
}

std::optional<LineTimeResiduals> lineTimeResiduals(const OpenedProduct& opened) {
    const std::vector<TiePoint>& ties = opened.stated().tiePoints();
    KmifNode ofGrid;
    if (opened.hasBursts())
        ofGrid = recordOf(opened, wholeGrid(opened.stated()));
    const KmifNode& node = ofGrid.empty() ? opened.record() : ofGrid;
    const auto& record = *static_cast<const SarMetadataRecord*>(node.data());
    const std::uint32_t flags = sarm::readModelArea(record).flags;
    if (!(flags & sarm::areaLateLineTimes) || !(flags & sarm::areaModelled) || ties.empty())
        return std::nullopt;
    return LineTimeResiduals{lineRms(record, false, ties), lineRms(record, true, ties),
                             (flags & sarm::areaCorrectedLineTimes) != 0};
}

} // namespace product
