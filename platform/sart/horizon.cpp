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
    anyAsked_ = closed_ = false;
    asked_.assign(static_cast<std::size_t>(lines), 0);
    isEmpty_.assign(static_cast<std::size_t>(steps / stepsOfGroup + 1), 0);
}

void Horizon::empty(std::size_t group) {
    looks_.resize(place(steps_, 0));
    const int from = static_cast<int>(group) * stepsOfGroup;
    const int to = std::min(from + stepsOfGroup, steps_);
    std::fill(looks_.begin() + static_cast<std::ptrdiff_t>(place(from, 0)),
              looks_.begin() + static_cast<std::ptrdiff_t>(place(to, 0)), Looks{nothing, nothing});
    isEmpty_[group] = 1;
}

void Horizon::ask(double top, double bottom) {
    const int from = std::max(floorOf(top) - 1, firstLine_);
    const int to = std::min(ceilOf(bottom) + 1, firstLine_ + lines_);
    for (int line = from; line < to; ++line)
        asked_[static_cast<std::size_t>(line - firstLine_)] = 1;
    anyAsked_ = anyAsked_ || from < to;
}

void Horizon::add(const Point& a, const Point& b) {
    const Point &top = a.y < b.y ? a : b, &low = a.y < b.y ? b : a;
    const int from = std::max(ceilOf(top.y - 0.5), firstLine_);
    const int to = std::min(ceilOf(low.y - 0.5), firstLine_ + lines_);
    if (from >= to)
        return;
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
        if (const auto group = static_cast<std::size_t>(step / stepsOfGroup); !isEmpty_[group])
            empty(group);
        Looks& looks = looks_[place(step, line - firstLine_)];
        const Looks here{look, -look};
        looks = looks > here ? looks : here;
    }
}

void Horizon::close() {
    closed_ = true;
    for (std::size_t group = 0; group < isEmpty_.size(); ++group)
        if (!isEmpty_[group])
            empty(group);
    const auto lines = static_cast<std::size_t>(lines_);
    dark_.resize(looks_.size());
    std::vector<double> before(lines, nothing);
    std::vector<int> darkBefore(lines, 0);
    for (std::size_t at = 0; at < looks_.size();)
        for (std::size_t line = 0; line < lines; ++line, ++at) {
            if (asked_[line]) {
                darkBefore[line] += -looks_[at][1] < before[line] - lookTolerance;
                before[line] = std::max(before[line], looks_[at][0]);
            }
            dark_[at] = darkBefore[line];
            looks_[at][0] = before[line];
        }
}

bool Horizon::mayHide(double top, double bottom, double near, double far) const {
    if (!closed_)
        return false;
    // Straight between two places in light, a profile is in light. The next places of a line may
    // lie a cell's diagonal off, which is less than three steps.
    constexpr int spare = 3;
    const auto step = [&](double distance) {
        return static_cast<int>(std::clamp(distance, 0.0, steps_ - 1.0));
    };
    const int from = step(near - spare), to = step(far + spare + 1);
    const int first = std::max(floorOf(top - 0.5) - firstLine_, 0);
    const int last = std::min(floorOf(bottom - 0.5) + 1 - firstLine_, lines_ - 1);
    int more = 0;
    for (int index = first; index <= last; ++index)
        more += dark_[place(to, index)] - (from > 0 ? dark_[place(from - 1, index)] : 0);
    return more > 0;
}

bool Horizon::hides(const Point& point) const {
    if (!closed_ || !(point.distance >= 0))
        return false;
    const int step = static_cast<int>(std::min(point.distance, steps_ - 1.0));
    const int line = floorOf(point.y - 0.5), index = line - firstLine_;
    const double part = point.y - 0.5 - line;
    const double here = before(step, index), next = before(step, index + 1);
    const double look = part == 0 ? here : (1 - part) * here + part * next;
    return point.look < look - lookTolerance;
}

} // namespace sart
