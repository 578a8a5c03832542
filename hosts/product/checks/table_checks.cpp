// SPDX-License-Identifier: MIT
#include "product/checks/table_checks.h"

#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_tables.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

/// A table that extends more than a step beyond the image belongs to another image.
void checkReach(const StatedProduct& stated, const CalibrationTable& table, std::uint32_t width,
                Findings& findings) {
    const ColumnProfile& gains = stated.gains(table).gains;
    const std::size_t count = gains.values.size();
    // In floating point, because stated steps may overflow whole numbers.
    const auto first = static_cast<double>(gains.first), step = static_cast<double>(gains.step);
    const double last = first + step * (static_cast<double>(count) - 1);
    if (count != 0 && (std::min(first, last) <= -std::abs(step) ||
                       std::max(first, last) >= width - 1.0 + std::abs(step)))
        findings.add(Verdict::warn, table.file + ": has " + std::to_string(count) +
                                        " gains for lines of " + std::to_string(width) +
                                        " samples");
}

/// @return one burst for each set of columns, because tables are made for these.
std::vector<const StatedBurst*> burstsByColumns(const StatedProduct& stated) {
    std::vector<const StatedBurst*> different;
    for (const StatedBurst& burst : stated.bursts())
        if (std::none_of(different.begin(), different.end(), [&](const StatedBurst* other) {
                return other->beam == burst.beam && other->sampleOffset == burst.sampleOffset &&
                       other->samples == burst.samples;
            }))
            different.push_back(&burst);
    return different;
}

} // namespace

/// Reads every table by the image columns that the product states.
void checkTables(const OpenedProduct& opened, Findings& findings) {
    const StatedProduct& stated = opened.stated();
    const auto calibrated = stated.calibrationTables();
    std::size_t good = 0, total = 0;
    const auto attempt = [&](const auto& read) {
        ++total;
        try {
            static_cast<void>(read());
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    };
    const auto attemptAll = [&](const ImageColumns& columns, const std::string& beam) {
        const auto serves = [&](const auto& table) {
            return table.beam.empty() || table.beam == beam;
        };
        for (const CalibrationTable& table : calibrated)
            if (serves(table))
                attempt([&] { return readCalibration(stated, table, columns, true); });
        for (const NoiseTable& table : stated.noiseTables())
            if (serves(table))
                attempt([&] { return readNoise(stated, table, columns); });
        if (!stated.incidenceFile().empty())
            attempt([&] { return readIncidence(stated, columns); });
    };
    if (opened.hasBursts()) {
        for (const StatedBurst* burst : burstsByColumns(stated))
            attemptAll(columnsOf(*burst), burst->beam);
        return findings.addWhenAll(good, total, "tables cover the bursts' lines");
    }
    attemptAll(columnsOf(stated), "");
    findings.addWhenAll(good, total, "tables cover the image's lines");
    if (good == total)
        for (const CalibrationTable& table : calibrated)
            checkReach(stated, table, columnsOf(stated).width, findings);
}

} // namespace product
