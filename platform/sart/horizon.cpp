// SPDX-License-Identifier: MIT
#include "sart/horizon.h"

#include "sart/whole_numbers.h"

#include <algorithm>

namespace sart {

namespace {

/// Rounding of looks between the ends of an edge: a centimetre at satellite heights.
constexpr double lookTolerance = 1e-8;

} // namespace

void Horizon::start(int firstLine, int lines, int steps) {
    firstLine_ = firstLine;
    lines_ = lines;
    steps_ = steps;
    isUsed_.assign(static_cast<std::size_t>(steps), 0);
}

void Horizon::add(const Point& a, const Point& b) {
    const Point &top = a.y < b.y ? a : b, &low = a.y < b.y ? b : a;
    const int from = std::max(ceilOf(top.y - 0.5), firstLine_);
    const int to = std::min(ceilOf(low.y - 0.5), firstLine_ + lines_);
    if (from >= to)
        return;
    looks_.resize(place(steps_, 0));
    const double perLine = 1 / (low.y - top.y);
    const double distancePerLine = perLine * (low.distance - top.distance);
    const double lookPerLine = perLine * (low.look - top.look);
    for (int line = from; line < to; ++line) {
        const double down = line + 0.5 - top.y;
        const double distance = top.distance + down * distancePerLine;
        const double look = top.look + down * lookPerLine;
        // The next step outwards is the first that has this place before it.
        if (!(distance <= steps_ - 1))
            continue;
        const int step = std::max(ceilOf(std::max(distance, -1.0)), 0);
        if (char& isUsed = isUsed_[static_cast<std::size_t>(step)]; !isUsed) {
            std::fill_n(looks_.begin() + static_cast<std::ptrdiff_t>(place(step, 0)), lines_,
                        nothing);
            isUsed = 1;
        }
        double& highest = looks_[place(step, line - firstLine_)];
        highest = std::max(highest, look);
    }
}

bool Horizon::close() {
    if (std::find(isUsed_.begin(), isUsed_.end(), 1) == isUsed_.end())
        return false;
    const std::vector<double> none(static_cast<std::size_t>(lines_), nothing);
    const double* before = none.data();
    for (int step = 0; step < steps_; ++step) {
        double* looks = looks_.data() + place(step, 0);
        if (isUsed_[static_cast<std::size_t>(step)])
            std::transform(before, before + lines_, looks, looks,
                           [](double a, double b) { return std::max(a, b); });
        else
            std::copy_n(before, lines_, looks);
        before = looks;
    }
    return true;
}

std::span<const double> Horizon::before(int step, const Part& part) const {
    const int first = std::clamp(floorOf(part.top) - firstLine_, 0, lines_);
    const int end = std::clamp(floorOf(part.bottom) + 1 - firstLine_, first, lines_);
    return {looks_.data() + place(step, first), static_cast<std::size_t>(end - first)};
}

bool Horizon::mayHide(const Part& part) const {
    if (!(part.far >= 0))
        return false;
    const auto looks = before(stepOf(part.far), part);
    return std::any_of(looks.begin(), looks.end(),
                       [&](double look) { return part.lowest < look - lookTolerance; });
}

bool Horizon::hidesAll(const Part& part) const {
    // Beyond the lines that there are nothing hides anything.
    if (!(part.near >= 0 && part.top >= firstLine_ && part.bottom < firstLine_ + lines_))
        return false;
    const auto looks = before(stepOf(part.near), part);
    return std::all_of(looks.begin(), looks.end(),
                       [&](double look) { return part.highest < look - lookTolerance; });
}

double Horizon::excess(const Point& point) const {
    if (!(point.distance >= 0))
        return nothing;
    const double look = before(stepOf(point.distance), floorOf(point.y) - firstLine_);
    return look - lookTolerance - point.look;
}

} // namespace sart
