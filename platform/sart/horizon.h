// SPDX-License-Identifier: MIT
#pragma once

#include "sart/large_pages.h"

#include <cstddef>
#include <limits>
#include <vector>

namespace sart {

/// What hides what along the lines of an image. A point of the ground has a distance outwards from
/// the near edge (in steps of the profile) and a look, any number that grows with the angle between
/// the antenna's nadir and the line of sight. It is in shadow when something nearer looks higher.
/// Only lines that were asked for have shadows. One thread at a time.
class Horizon {
    typedef double Looks __attribute__((vector_size(16)));

public:
    /// Empties it; no line has shadows.
    void start(int firstLine, int lines, int steps);

    /// Asks for the shadows of the lines that touch [top, bottom].
    void ask(double top, double bottom);
    bool asked() const { return anyAsked_; }

    /// A place in the image's lines (pixel j covers [j, j + 1)), its distance and look.
    struct Point {
        double y, distance, look;
    };

    /// Adds a straight edge of the terrain where it crosses the middle of lines. Profiles of a
    /// surface of triangles are straight between such places.
    void add(const Point& a, const Point& b);

    /// After the last edge: what every step outwards has before it.
    void close();

    /// @return false when no place between two lines and two distances can be in shadow.
    bool mayHide(double top, double bottom, double near, double far) const;

    /// @return true when the point is in shadow; between the middles of two lines by the mean of
    ///         both profiles.
    bool hides(const Point& point) const;

    static std::size_t bytesPerLine(int steps) {
        return (sizeof(Looks) + sizeof(int)) * static_cast<std::size_t>(steps);
    }

private:
    /// Neighbouring lines lie side by side: edges run across several lines at nearly one step.
    std::size_t place(int step, int index) const {
        return static_cast<std::size_t>(step) * static_cast<std::size_t>(lines_) +
               static_cast<std::size_t>(index);
    }
    /// Empties a group of steps, just before they are needed: so they come into the processor's
    /// caches once, not twice.
    void empty(std::size_t group);

    /// @param index  of a line, from the first.
    double before(int step, int index) const {
        return index >= 0 && index < lines_ ? looks_[place(step, index)][0] : nothing;
    }

    static constexpr int stepsOfGroup = 32;
    static constexpr double nothing = -std::numeric_limits<double>::infinity();

    int firstLine_ = 0, lines_ = 0, steps_ = 0;
    bool anyAsked_ = false, closed_ = false;
    std::vector<char> isEmpty_; ///< of each group of steps: it has been emptied
    std::vector<char> asked_;
    /// The highest look and the lowest, turned round, so that both are the greatest: of the places
    /// up to a distance that is a whole number, from the whole number before. After close, the
    /// highest is of all places before too.
    std::vector<Looks, LargePages<Looks>> looks_;
    std::vector<int, LargePages<int>>
        dark_; ///< places in shadow, in this step and before; after close
};

} // namespace sart
