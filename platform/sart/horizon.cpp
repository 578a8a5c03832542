// SPDX-License-Identifier: MIT
#include "sart/horizon.h"

#include "sart/whole_numbers.h"

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
    count_ = steps;
    anyAsked_ = closed_ = false;
    asked_.assign(static_cast<std::size_t>(lines), 0);
    steps_.clear();
}

void Horizon::ask(double top, double bottom) {
    const int from = std::max(static_cast<int>(std::floor(top)) - 1, firstLine_);
    const int to = std::min(static_cast<int>(std::ceil(bottom)) + 1, firstLine_ + lines_);
    for (int line = from; line < to; ++line)
        asked_[static_cast<std::size_t>(line - firstLine_)] = 1;
    anyAsked_ = anyAsked_ || from < to;
}

void Horizon::add(const Point& a, const Point& b) {
    if (steps_.empty())
        steps_.assign(static_cast<std::size_t>(lines_) * static_cast<std::size_t>(count_),
                      {nothing, -nothing, 0});
    const Point &top = a.y < b.y ? a : b, &low = a.y < b.y ? b : a;
    const int from = std::max(ceilOf(top.y - 0.5), firstLine_);
    const int to = std::min(ceilOf(low.y - 0.5), firstLine_ + lines_);
    if (from >= to)
        return;
    const double perLine = 1 / (low.y - top.y);
    const double distancePerLine = perLine * (low.distance - top.distance);
    const double lookPerLine = perLine * (low.look - top.look);
    Step* steps = steps_.data() + (profile(from) - steps_.data());
    for (int line = from; line < to; ++line, steps += count_) {
        const double down = line + 0.5 - top.y;
        const double distance = top.distance + down * distancePerLine;
        const double look = top.look + down * lookPerLine;
        // The next step outwards is the first that has this place before it.
        if (!(distance <= count_ - 1))
            continue;
        Step& step = steps[std::max(ceilOf(std::max(distance, -1.0)), 0)];
        step.highest = std::max(step.highest, look);
        step.lowest = std::min(step.lowest, look);
    }
}

void Horizon::close() {
    closed_ = !steps_.empty();
    if (!closed_)
        return;
    Step* step = steps_.data();
    for (int line = 0; line < lines_; ++line) {
        double highest = nothing;
        int dark = 0;
        for (int i = 0; i < count_; ++i, ++step) {
            dark += step->lowest < highest - lookTolerance;
            highest = std::max(highest, step->highest);
            step->highest = highest;
            step->dark = dark;
        }
    }
}

double Horizon::before(int line, int step) const {
    return asked(line) ? profile(line)[step].highest : nothing;
}

bool Horizon::mayHide(double top, double bottom, double near, double far) const {
    if (!closed_)
        return false;
    // Straight between two places in light, a profile is in light. The next places of a line may
    // lie a cell's diagonal off, which is less than three steps.
    constexpr int spare = 3;
    const auto step = [&](double distance) {
        return static_cast<int>(std::clamp(distance, 0.0, count_ - 1.0));
    };
    const int from = step(near - spare), to = step(far + spare + 1);
    for (int line = floorOf(top - 0.5); line <= floorOf(bottom - 0.5) + 1; ++line)
        if (asked(line) && profile(line)[to].dark > (from > 0 ? profile(line)[from - 1].dark : 0))
            return true;
    return false;
}

bool Horizon::hides(const Point& point) const {
    if (!closed_ || !(point.distance >= 0))
        return false;
    const int step = static_cast<int>(std::min(point.distance, count_ - 1.0));
    const int line = floorOf(point.y - 0.5);
    const double part = point.y - 0.5 - line;
    const double here = before(line, step), next = before(line + 1, step);
    const double look = part == 0 ? here : (1 - part) * here + part * next;
    return point.look < look - lookTolerance;
}

} // namespace sart
