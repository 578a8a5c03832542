// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

namespace sart {

/// What hides what along the lines of an image. A point of the ground has a distance outwards from
/// the near edge (in steps of the profile) and a look, any number that grows with the angle between
/// the antenna's nadir and the line of sight. It is in shadow when something nearer looks higher.
/// Lines hold a profile only where asked to. One thread at a time.
class Horizon {
public:
    /// Empties it; no line has a profile.
    void start(int firstLine, int lines, int steps);

    /// Asks for the profiles of the lines that touch [top, bottom].
    void ask(double top, double bottom);
    bool asked() const { return asked_; }

    /// A place in the image's lines (pixel j covers [j, j + 1)), its distance and look.
    struct Point {
        double y, distance, look;
    };

    /// Adds a straight edge of the terrain where it crosses the middle of lines that have a
    /// profile. Profiles of a surface of triangles have their summits there.
    void add(const Point& a, const Point& b);

    /// After the last edge: what every step outwards has before it.
    void close();

    /// @return true when the point is in shadow; between the middles of two lines by the mean of
    ///         both profiles.
    bool hides(const Point& point) const;

    static std::size_t bytesPerLine(int steps) {
        return sizeof(double) * static_cast<std::size_t>(steps);
    }

private:
    double* profile(int line) {
        return profiles_.data() +
               static_cast<std::size_t>(line - firstLine_) * static_cast<std::size_t>(steps_);
    }
    double before(int line, int step) const;

    int firstLine_ = 0, lines_ = 0, steps_ = 0;
    bool asked_ = false;
    std::vector<char> has_;
    std::vector<double> profiles_;
};

} // namespace sart
