// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/elevation_file.h"

#include "kprj/kprj.h"
#include "kxfr/kxfr.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kimg {

/// Files of one coordinate system, one height system and one grid: they are read as if they were
/// one. Constant; any thread.
class ElevationGroup {
public:
    explicit ElevationGroup(std::shared_ptr<const ElevationFile> first);

    /// @return whether the file is of the same grid and systems; it belongs to the group then.
    bool take(const std::shared_ptr<const ElevationFile>& file);

    const ElevationFile& first() const { return *members_.front().file; }
    /// @return the files' horizontal system.
    const KPRJ_PROJECTION& projection() const { return *projection_; }
    /// @return from an edge of a pixel to the next, m, about.
    double pixelM() const { return pixelM_; }

    /// From the map of the files to pixels: (0, 0) is the centre of the first pixel of the first
    /// file.
    KxfrPixel pixelOf(double x, double y) const;
    /// @return samples once around the earth; 0 where the map does not close.
    double period() const { return period_; }
    /// @return whether files reach over more than half of the earth's turn: columns go on then.
    bool isClosed() const { return period_ > 0 && extent_[1] - extent_[0] > period_ / 2; }
    /// @return the outermost pixel centres of all files: samples from, to, lines from, to.
    const std::array<double, 4>& extent() const { return extent_; }

    /// How heights of places are found.
    struct Found {
        double heightM;  ///< above the files' own zero; NaN for a hole, outsideAllFiles outside
        double pastEdge; ///< pixels from the outermost centres; 0 within
    };

    /// Reads what surrounds pixels. @throws ImageError naming the file that cannot be read.
    class Window {
    public:
        Window(const ElevationGroup& group, double left, double top, double right, double bottom);
        /// @return pixels in it.
        std::size_t size() const {
            return static_cast<std::size_t>(columns_) * static_cast<std::size_t>(lines_);
        }
        /// Takes memory for all of them. Once, before places are asked.
        void read();
        /// @param sample,line  as the window was made for.
        Found at(double sample, double line) const;
        /// Places within the files, many at a time.
        /// @param points  receive heights, above the ellipsoid by `zeros`.
        /// @param others  receives the numbers of those that at() must look up.
        void heightsAt(const double* samples, const double* lines, const double* zeros,
                       std::span<KxfrMapPoint> points, std::vector<std::size_t>& others) const;

    private:
        Found nearEdge(const double* corners, double u, double v) const;

        const ElevationGroup& group_;
        long column_ = 0, line_ = 0, columns_ = 0, lines_ = 0;
        std::vector<double> values_;
    };

private:
    struct Member {
        std::shared_ptr<const ElevationFile> file;
        long column, line; ///< where its first pixel lies in the group's grid
    };
    std::vector<Member> members_;
    std::shared_ptr<const KPRJ_PROJECTION> projection_;
    std::array<double, 6> inverse_{}; ///< from map to raster (corner of the first pixel)
    double period_ = 0, pixelM_ = 0;
    std::array<double, 4> extent_{};
};

} // namespace kimg
