// SPDX-License-Identifier: MIT
#include "sart/horizon.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sart {

namespace {

constexpr double nothing = -std::numeric_limits<double>::infinity();
/// Rounding of looks between the ends of an edge: a centimetre at satellite heights.
constexpr double lookTolerance = 1e-8;

} // namespace

void Horizon::start(int firstLine, int lines, int steps) {
    firstLine_ = firstLine;
    lines_ = lines;
    steps_ = steps;
    asked_ = false;
    has_.assign(static_cast<std::size_t>(lines), 0);
    profiles_.clear();
}

void Horizon::ask(double top, double bottom) {
    const int from = std::max(static_cast<int>(std::floor(top)) - 1, firstLine_);
    const int to = std::min(static_cast<int>(std::ceil(bottom)) + 1, firstLine_ + lines_);
    for (int line = from; line < to; ++line)
        has_[static_cast<std::size_t>(line - firstLine_)] = 1;
    asked_ = asked_ || from < to;
}

void Horizon::add(const Point& a, const Point& b) {
    if (profiles_.empty())
        profiles_.assign(static_cast<std::size_t>(lines_) * static_cast<std::size_t>(steps_),
                         nothing);
    const Point &top = a.y < b.y ? a : b, &low = a.y < b.y ? b : a;
    const int from = std::max(static_cast<int>(std::ceil(top.y - 0.5)), firstLine_);
    const int to = std::min(static_cast<int>(std::ceil(low.y - 0.5)), firstLine_ + lines_);
    for (int line = from; line < to; ++line) {
        if (!has_[static_cast<std::size_t>(line - firstLine_)])
            continue;
        const double part = (line + 0.5 - top.y) / (low.y - top.y);
        const double distance = top.distance + part * (low.distance - top.distance);
        const double look = top.look + part * (low.look - top.look);
        // The next step outwards is the first that has this place before it.
        const int step = std::max(static_cast<int>(std::ceil(std::min(distance, 1e9))), 0);
        if (step < steps_)
            profile(line)[step] = std::max(profile(line)[step], look);
    }
}

void Horizon::close() {
    if (profiles_.empty())
        return;
    for (int line = firstLine_; line < firstLine_ + lines_; ++line)
        for (int step = 1; step < steps_; ++step)
            profile(line)[step] = std::max(profile(line)[step], profile(line)[step - 1]);
}

double Horizon::before(int line, int step) const {
    const int index = line - firstLine_;
    if (index < 0 || index >= lines_ || !has_[static_cast<std::size_t>(index)])
        return nothing;
    return profiles_[static_cast<std::size_t>(index) * static_cast<std::size_t>(steps_) +
                     static_cast<std::size_t>(step)];
}

bool Horizon::hides(const Point& point) const {
    if (profiles_.empty() || !(point.distance >= 0))
        return false;
    const int step = static_cast<int>(std::min(point.distance, steps_ - 1.0));
    const int line = static_cast<int>(std::floor(point.y - 0.5));
    const double part = point.y - 0.5 - line;
    const double here = before(line, step), next = before(line + 1, step);
    const double look = part == 0 ? here : (1 - part) * here + part * next;
    return point.look < look - lookTolerance;
}

} // namespace sart
