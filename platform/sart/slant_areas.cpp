// SPDX-License-Identifier: MIT
#include "sart/slant_areas.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sart {

namespace {

using sarm::Vec3;

constexpr double none = std::numeric_limits<double>::quiet_NaN();

double slantArea(const sarm::SensorModel& model, const sarm::ImagePosition& image, double heightM) {
    constexpr double step = 25; // m
    const auto ground = model.imageToGround(image, heightM);
    if (!ground)
        return none;
    const Vec3 point = sarm::toEarthFixed(*ground, model.ellipsoid());
    const Vec3 axes[] = {{step, 0, 0}, {0, step, 0}, {0, 0, step}};
    double sample[3], line[3]; // differences along the axes
    for (int axis = 0; axis < 3; ++axis) {
        const auto ahead =
            model.groundToImage(sarm::toGeodetic(point + axes[axis], model.ellipsoid()));
        const auto behind =
            model.groundToImage(sarm::toGeodetic(point - axes[axis], model.ellipsoid()));
        if (!ahead || !behind)
            return none;
        sample[axis] = (ahead->sample - behind->sample) / (2 * step);
        line[axis] = (ahead->line - behind->line) / (2 * step);
    }
    return 1 /
           sarm::norm(sarm::cross({sample[0], sample[1], sample[2]}, {line[0], line[1], line[2]}));
}

} // namespace

SlantAreas::SlantAreas(const sarm::SensorModel& model, const HeightRange& heights)
    : heights_(heights) {
    constexpr int pixelsPerInterval = 64, mostIntervals = 128;
    heights_.highestM = std::max(heights_.highestM, heights_.lowestM + 1000);
    const sarm::ImageSize size = model.imageSize();
    rows_ = std::clamp((size.lines - 1) / pixelsPerInterval, 1, mostIntervals);
    columns_ = std::clamp((size.samples - 1) / pixelsPerInterval, 1, mostIntervals);
    rowsPerLine_ = rows_ / std::max(size.lines - 1.0, 1.0);
    columnsPerSample_ = columns_ / std::max(size.samples - 1.0, 1.0);
    for (int row = 0; row <= rows_; ++row)
        for (int column = 0; column <= columns_; ++column)
            for (const double height : {heights_.lowestM, heights_.highestM})
                values_.push_back(
                    slantArea(model, {column / columnsPerSample_, row / rowsPerLine_}, height));
}

double SlantAreas::at(double sample, double line, double heightM) const {
    const double y = line * rowsPerLine_, x = sample * columnsPerSample_;
    const int row = std::clamp(static_cast<int>(y), 0, rows_ - 1);
    const int column = std::clamp(static_cast<int>(x), 0, columns_ - 1);
    const double up = (heightM - heights_.lowestM) / (heights_.highestM - heights_.lowestM);
    const double down = y - row, right = x - column;
    const auto at = [&](int r, int c) { return (1 - up) * node(r, c, 0) + up * node(r, c, 1); };
    return (1 - down) * ((1 - right) * at(row, column) + right * at(row, column + 1)) +
           down * ((1 - right) * at(row + 1, column) + right * at(row + 1, column + 1));
}

} // namespace sart
