// SPDX-License-Identifier: MIT
#pragma once

#include "sart/large_pages.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace sart {

/// What hides what along the lines of an image. A point of the ground has a distance outwards from
/// the near edge (in steps of the profile) and a look, any number that grows with the angle between
/// the antenna's nadir and the line of sight. It is in shadow when something nearer looks higher.
/// One thread at a time.
class Horizon {
public:
    /// Empties it: there are no shadows.
    void start(int firstLine, int lines, int steps);

    /// A place in the image's lines (pixel j covers [j, j + 1)), its distance and look.
    struct Point {
        double y, distance, look;
    };

    /// Adds a straight edge of the terrain where it crosses the middle of lines. Only edges from
    /// which the ground turns away from the antenna are needed: the others hide nothing that those
    /// leave in light.
    void add(const Point& a, const Point& b);

    /// After the last edge: finds what every step outwards has before it.
    /// @return false when there is nothing, and no shadow.
    bool close();

    /// A part of the ground: its lines, and the bounds of its distances and looks.
    struct Part {
        double top = std::numeric_limits<double>::infinity(), bottom = -top;
        double near = top, far = bottom;
        double lowest = top, highest = bottom;

        void take(const Point& point) {
            top = std::min(top, point.y);
            bottom = std::max(bottom, point.y);
            near = std::min(near, point.distance);
            far = std::max(far, point.distance);
            lowest = std::min(lowest, point.look);
            highest = std::max(highest, point.look);
        }
    };

    /// @return false when no point of a part can be in shadow. After close.
    bool mayHide(const Part& part) const;

    /// @return true only when every point of a part is in shadow. After close.
    bool hidesAll(const Part& part) const;

    /// @return by how much something nearer looks higher than a point, by the profile in the middle
    ///         of its line: positive in shadow. After close.
    double excess(const Point& point) const;
    bool hides(const Point& point) const { return excess(point) > 0; }

    static std::size_t bytesPerLine(int steps) {
        return sizeof(double) * static_cast<std::size_t>(steps);
    }

private:
    /// Neighbouring lines lie side by side: edges run across several lines at nearly one step.
    std::size_t place(int step, int index) const {
        return static_cast<std::size_t>(step) * static_cast<std::size_t>(lines_) +
               static_cast<std::size_t>(index);
    }
    /// @param index  of a line, from the first.
    double before(int step, int index) const {
        return index >= 0 && index < lines_ ? looks_[place(step, index)] : nothing;
    }
    int stepOf(double distance) const { return static_cast<int>(std::min(distance, steps_ - 1.0)); }

    /// What the lines that a part touches have before a step: those that there are.
    std::span<const double> before(int step, const Part& part) const;

    static constexpr double nothing = -std::numeric_limits<double>::infinity();

    int firstLine_ = 0, lines_ = 0, steps_ = 0;
    std::vector<char> isUsed_; ///< of each step: its looks are set
    /// The highest look of the places up to a distance that is a whole number, from the whole
    /// number before. After close, of all places before too.
    std::vector<double, LargePages<double>> looks_;
};

} // namespace sart
