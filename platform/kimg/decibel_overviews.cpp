// SPDX-License-Identifier: MIT
#include "kimg/decibel_overviews.h"

#include <gdal.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace kimg {
namespace {

constexpr int linesTogether = 256; // of an overview

std::size_t placeOf(int line, int column, int columns) {
    return static_cast<std::size_t>(line) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
}

/// @param above  two lines for each line of the overview, of `columns` samples.
void halve(const std::vector<float>& above, int columns, int lines, std::vector<float>& made,
           int halfColumns) {
    for (int line = 0; 2 * line < lines; ++line)
        for (int column = 0; column < halfColumns; ++column) {
            double power = 0;
            int count = 0;
            for (int y = 2 * line; y < std::min(2 * line + 2, lines); ++y)
                for (int x = 2 * column; x < std::min(2 * column + 2, columns); ++x)
                    if (const float value = above[placeOf(y, x, columns)]; !std::isnan(value)) {
                        power += std::pow(10, value / 10);
                        ++count;
                    }
            made[placeOf(line, column, halfColumns)] =
                count == 0 ? NAN : static_cast<float>(10 * std::log10(power / count));
        }
}

} // namespace

bool fillDecibelOverviews(void* band, const KeepGoing& keepGoing) {
    GDALRasterBandH from = band;
    for (int i = 0; i < GDALGetOverviewCount(band); ++i) {
        const GDALRasterBandH to = GDALGetOverview(band, i);
        const int columns = GDALGetRasterBandXSize(from), lines = GDALGetRasterBandYSize(from);
        const int halfColumns = GDALGetRasterBandXSize(to), halfLines = GDALGetRasterBandYSize(to);
        std::vector<float> above(static_cast<std::size_t>(columns) * 2 * linesTogether);
        std::vector<float> made(static_cast<std::size_t>(halfColumns) * linesTogether);
        for (int line = 0; line < halfLines; line += linesTogether) {
            const int read = std::min(2 * linesTogether, lines - 2 * line);
            const int written = std::min(linesTogether, halfLines - line);
            if (GDALRasterIO(from, GF_Read, 0, 2 * line, columns, read, above.data(), columns, read,
                             GDT_Float32, 0, 0) != CE_None)
                return false;
            halve(above, columns, read, made, halfColumns);
            if (GDALRasterIO(to, GF_Write, 0, line, halfColumns, written, made.data(), halfColumns,
                             written, GDT_Float32, 0, 0) != CE_None ||
                !keepGoing(double(line + written) / halfLines))
                return false;
        }
        from = to;
    }
    return true;
}

} // namespace kimg
