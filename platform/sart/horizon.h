// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

namespace sart {

/// What hides what along the lines of an image. A point of the ground has a distance outwards from
/// the near edge (in steps of the profile) and a look, any number that grows with the angle between
/// the antenna's nadir and the line of sight. It is in shadow when something nearer looks higher.
/// Only lines that were asked for have shadows. One thread at a time.
class Horizon {
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
        return sizeof(Step) * static_cast<std::size_t>(steps);
    }

private:
    /// Of the places up to a distance that is a whole number, from the whole number before.
    struct Step {
        double highest, lowest; ///< looks; after close, `highest` is of all places before too
        int dark;               ///< places in shadow, in this step and before; after close
    };

    const Step* profile(int line) const {
        return steps_.data() +
               static_cast<std::size_t>(line - firstLine_) * static_cast<std::size_t>(count_);
    }
    bool asked(int line) const {
        return line >= firstLine_ && line < firstLine_ + lines_ &&
               asked_[static_cast<std::size_t>(line - firstLine_)];
    }
    double before(int line, int step) const;

    int firstLine_ = 0, lines_ = 0, count_ = 0;
    bool anyAsked_ = false, closed_ = false;
    std::vector<char> asked_;
    std::vector<Step> steps_;
};

} // namespace sart
