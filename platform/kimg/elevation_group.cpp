// SPDX-License-Identifier: MIT
#include "kimg/elevation_group.h"

#include "kimg/gdal_session.h"

#include <algorithm>
#include <cmath>

namespace kimg {
namespace {

constexpr double closePixels = 1e-2; ///< grids that agree to it are one

double areaOf(const std::array<double, 6>& g) {
    return g[1] * g[5] - g[2] * g[4];
}

bool isOutside(double value) {
    return value == outsideAllFiles;
}

} // namespace

ElevationGroup::ElevationGroup(std::shared_ptr<const ElevationFile> first) {
    kerr::Slot slot;
    projection_.reset(kprj_ProjectionFromText(first->system(), slot), KprjProjectionDeleter());
    if (!projection_)
        throw ImageError(first->path() +
                         ": its place cannot be understood: " + kerr_Text(slot.get()));
    const auto& g = first->geoTransform();
    const double area = areaOf(g);
    if (!(std::abs(area) > 0) || !std::isfinite(area))
        throw ImageError(first->path() + ": its pixels do not spread over an area");
    inverse_ = {(g[2] * g[3] - g[5] * g[0]) / area, g[5] / area,  -g[2] / area,
                (g[4] * g[0] - g[1] * g[3]) / area, -g[4] / area, g[1] / area};
    constexpr double metresInRadian = 6378137;
    pixelM_ = std::sqrt(std::abs(area)) * projection_->unitSize *
              (projection_->isGeographic ? metresInRadian : 1);
    if (projection_->isGeographic && g[2] == 0 && g[4] == 0) {
        const double turn = 6.283185307179586 / projection_->unitSize / std::abs(g[1]);
        if (std::abs(turn - std::round(turn)) < closePixels)
            period_ = std::round(turn);
    }
    extent_ = {0, first->width() - 1.0, 0, first->height() - 1.0};
    members_.push_back({std::move(first), 0, 0});
}

bool ElevationGroup::take(const std::shared_ptr<const ElevationFile>& file) {
    const ElevationFile& known = first();
    if (file->system() != known.system() || file->heights().kind != known.heights().kind)
        return false;
    const auto &a = known.geoTransform(), &b = file->geoTransform();
    const double reach = std::max(file->width(), file->height());
    const double step = std::sqrt(std::abs(areaOf(a)));
    for (const std::size_t i : {1U, 2U, 4U, 5U})
        if (!(std::abs(a[i] - b[i]) * reach < closePixels * step))
            return false;
    const KxfrPixel at = pixelOf(b[0] + (b[1] + b[2]) / 2, b[3] + (b[4] + b[5]) / 2);
    const double column = std::round(at.sample), line = std::round(at.line);
    if (!(std::abs(at.sample - column) < closePixels && std::abs(at.line - line) < closePixels))
        return false;
    members_.push_back({file, static_cast<long>(column), static_cast<long>(line)});
    extent_ = {std::min(extent_[0], column), std::max(extent_[1], column + file->width() - 1),
               std::min(extent_[2], line), std::max(extent_[3], line + file->height() - 1)};
    return true;
}

KxfrPixel ElevationGroup::pixelOf(double x, double y) const {
    return {inverse_[0] + inverse_[1] * x + inverse_[2] * y - 0.5,
            inverse_[3] + inverse_[4] * x + inverse_[5] * y - 0.5};
}

ElevationGroup::Window::Window(const ElevationGroup& group, double left, double top, double right,
                               double bottom)
    : group_(group) {
    // One more pixel on each side, for positions near an edge.
    const auto& e = group.extent_;
    const bool closed = group.isClosed();
    const double from = closed ? left : std::max(left, e[0] - 1);
    const double to = closed ? right : std::min(right, e[1] + 1);
    const double first = std::max(top, e[2] - 1), last = std::min(bottom, e[3] + 1);
    if (!(from <= to && first <= last))
        return;
    column_ = static_cast<long>(std::floor(from));
    line_ = static_cast<long>(std::floor(first));
    columns_ = static_cast<long>(std::floor(to)) + 2 - column_;
    lines_ = static_cast<long>(std::floor(last)) + 2 - line_;
}

/// Visits a file once for each turn of the earth that the window touches.
void ElevationGroup::Window::read() {
    values_.resize(size(), outsideAllFiles);
    for (const Member& member : group_.members_) {
        const long width = member.file->width(), height = member.file->height();
        const long top = std::max(line_, member.line);
        const long bottom = std::min(line_ + lines_, member.line + height);
        const auto period = static_cast<long>(group_.period_);
        const auto turns = [&](double columns) {
            return period > 0 ? columns / static_cast<double>(period) : 0.0;
        };
        const auto lowest =
            static_cast<long>(std::ceil(turns(double(column_ - member.column - width + 1))));
        const auto highest =
            static_cast<long>(std::floor(turns(double(column_ + columns_ - 1 - member.column))));
        for (long turn = lowest; turn <= highest; ++turn) {
            const long start = member.column + turn * period;
            const long left = std::max(column_, start);
            const long right = std::min(column_ + columns_, start + width);
            if (left < right && top < bottom)
                member.file->addTo(
                    static_cast<int>(left - start), static_cast<int>(top - member.line),
                    static_cast<int>(right - left), static_cast<int>(bottom - top),
                    &values_[static_cast<std::size_t>((top - line_) * columns_ + left - column_)],
                    static_cast<std::size_t>(columns_));
        }
    }
}

ElevationGroup::Found ElevationGroup::Window::at(double sample, double line) const {
    const double column = std::floor(sample), row = std::floor(line);
    const double u = sample - column, v = line - row;
    const double x = column - static_cast<double>(column_), y = row - static_cast<double>(line_);
    if (!(x >= 0 && y >= 0 && x <= static_cast<double>(columns_) - 2 &&
          y <= static_cast<double>(lines_) - 2))
        return {outsideAllFiles, 0};
    const double* above =
        &values_[static_cast<std::size_t>(y) * static_cast<std::size_t>(columns_) +
                 static_cast<std::size_t>(x)];
    const double* below = above + columns_;
    // Far below every height if a corner is outside; NaN if a corner has no height.
    const double height =
        (above[0] * (1 - u) + above[1] * u) * (1 - v) + (below[0] * (1 - u) + below[1] * u) * v;
    if (height > -1e6)
        return {height, 0};
    const double corners[] = {above[0], above[1], below[0], below[1]};
    return nearEdge(corners, u, v);
}

void ElevationGroup::Window::heightsAt(const double* samples, const double* lines,
                                       const double* zeros, std::span<KxfrMapPoint> points,
                                       std::vector<std::size_t>& others) const {
    const auto stride = static_cast<std::size_t>(columns_);
    const auto left = static_cast<double>(column_), top = static_cast<double>(line_);
    const double right = static_cast<double>(columns_) - 1;
    const double bottom = static_cast<double>(lines_) - 1;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double x = samples[i] - left, y = lines[i] - top;
        if (x >= 0 && y >= 0 && x < right && y < bottom) [[likely]] {
            const auto column = static_cast<std::uint32_t>(x), row = static_cast<std::uint32_t>(y);
            const double u = x - column, v = y - row;
            const double* above = &values_[row * stride + column];
            const double* below = above + stride;
            const double first = above[0] + u * (above[1] - above[0]);
            const double second = below[0] + u * (below[1] - below[0]);
            const double height = first + v * (second - first) + zeros[i];
            if (height > -1e6) [[likely]] {
                points[i].heightM = height;
                continue;
            }
        }
        others.push_back(i);
    }
}

/// Ignores corners without weight; replaces outside corners by those on the other side.
ElevationGroup::Found ElevationGroup::Window::nearEdge(const double* corners, double u,
                                                       double v) const {
    const auto outside = [&](int i, int j) { return isOutside(corners[2 * j + i]); };
    double su = u, sv = v; // the position used instead of (u, v)
    const auto anyIn = [&](int i) {
        return (!outside(i, 0) && v < 1) || (!outside(i, 1) && v > 0);
    };
    const auto anyInLine = [&](int j) {
        return (!outside(0, j) && u < 1) || (!outside(1, j) && u > 0);
    };
    if (!anyIn(0) && anyIn(1))
        su = 1;
    else if (!anyIn(1) && anyIn(0))
        su = 0;
    if (!anyInLine(0) && anyInLine(1))
        sv = 1;
    else if (!anyInLine(1) && anyInLine(0))
        sv = 0;
    double sum = 0, present = 0;
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 2; ++i) {
            const double weight = (i == 0 ? 1 - su : su) * (j == 0 ? 1 - sv : sv);
            if (weight == 0 || outside(i, j))
                continue; // one alone is outside where files lie around a corner
            sum += weight * corners[2 * j + i];
            present += weight;
        }
    if (present == 0)
        return {outsideAllFiles, 0};
    return {sum / present, std::hypot(su - u, sv - v)};
}

} // namespace kimg
