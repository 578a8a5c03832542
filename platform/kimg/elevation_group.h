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

/// Files with one coordinate system, one height system and one grid, read as if they were one file.
/// Constant; any thread may use it.
class ElevationGroup {
public:
    explicit ElevationGroup(std::shared_ptr<const ElevationFile> first);

    /// Adds a file that has the same grid and systems. @return whether it has.
    bool take(const std::shared_ptr<const ElevationFile>& file);

    const ElevationFile& first() const { return *members_.front().file; }
    /// @return the files' horizontal system.
    const KPRJ_PROJECTION& projection() const { return *projection_; }
    /// @return approximate size of a pixel, m.
    double pixelM() const { return pixelM_; }

    /// Converts map coordinates to pixels; (0, 0) is the centre of the first file's first pixel.
    KxfrPixel pixelOf(double x, double y) const;
    /// @return samples around the earth; 0 if the map does not close.
    double period() const { return period_; }
    /// @return whether the files cover more than half a turn; then columns wrap around.
    bool isClosed() const { return period_ > 0 && extent_[1] - extent_[0] > period_ / 2; }
    /// @return the outermost pixel centres of all files: samples from, to, lines from, to.
    const std::array<double, 4>& extent() const { return extent_; }

    /// The result of a height look-up.
    struct Found {
        double heightM;  ///< above the files' own zero; NaN for a hole, outsideAllFiles outside
        double pastEdge; ///< pixels outside the outermost pixel centres; 0 within
    };

    /// The pixels around a rectangle of positions. @throws ImageError naming the file that cannot
    /// be read.
    class Window {
    public:
        Window(const ElevationGroup& group, double left, double top, double right, double bottom);
        /// @return pixels in it.
        std::size_t size() const {
            return static_cast<std::size_t>(columns_) * static_cast<std::size_t>(lines_);
        }
        /// Allocates and reads all of them. Call it once, before the look-ups.
        void read();
        /// @param sample,line  within the window's rectangle.
        Found at(double sample, double line) const;
        /// Looks up many positions within the files.
        /// @param points  receive the heights, with `zeros` added.
        /// @param others  receives the indices of positions that need at().
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
        long column, line; ///< position of its first pixel in the group's grid
    };
    std::vector<Member> members_;
    std::shared_ptr<const KPRJ_PROJECTION> projection_;
    std::array<double, 6> inverse_{}; ///< from map to raster (corner of the first pixel)
    double period_ = 0, pixelM_ = 0;
    std::array<double, 4> extent_{};
};

} // namespace kimg
