// SPDX-License-Identifier: MIT
#include "product/checks/ground_checks.h"

#include "kimg/georeferencing.h"
#include "product/images/image_samples.h"
#include "product/place/rpc_items.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

namespace product {
namespace {

/// Sums up differences; the roots are taken at the end.
class Collector {
public:
    void add(double line, double sample, double groundM) {
        if (!std::isfinite(line) || !std::isfinite(sample)) {
            ++sum_.unanswered;
            return;
        }
        ++sum_.points;
        squares_[0] += square(line);
        squares_[1] += square(sample);
        squares_[2] += square(groundM);
        sum_.lineMax = std::max(sum_.lineMax, std::abs(line));
        sum_.sampleMax = std::max(sum_.sampleMax, std::abs(sample));
    }
    Residuals result() const {
        Residuals result = sum_;
        const auto count = static_cast<long double>(std::max<std::size_t>(1, sum_.points));
        double* const rms[] = {&result.lineRms, &result.sampleRms, &result.groundRmsM};
        for (std::size_t i = 0; i < 3; ++i)
            *rms[i] = static_cast<double>(std::sqrt(squares_[i] / count));
        return result;
    }

private:
    /// Of any double.
    static long double square(double value) {
        return static_cast<long double>(value) * static_cast<long double>(value);
    }

    Residuals sum_;
    std::array<long double, 3> squares_{}; ///< of lines, samples, metres
};

double distanceM(const KxfrMapPoint& a, const TiePoint& b) {
    const sarm::Ellipsoid wgs84;
    const auto p = sarm::toEarthFixed({a.x, a.y, b.heightM}, wgs84);
    const auto q = sarm::toEarthFixed({b.lonDeg, b.latDeg, b.heightM}, wgs84);
    return std::hypot(p.x - q.x, p.y - q.y, p.z - q.z);
}

Residuals compare(const Locator& locator, const std::vector<TiePoint>& ties) {
    std::vector<KxfrMapPoint> ground;
    std::vector<KxfrPixel> stated;
    for (const TiePoint& tie : ties) {
        ground.push_back({tie.lonDeg, tie.latDeg, tie.heightM});
        stated.push_back({tie.sample, tie.line});
    }
    std::vector<KxfrPixel> found(ties.size());
    locator.toImage(ground, found);
    locator.toGround(stated, ground);
    Collector collector;
    for (std::size_t i = 0; i < ties.size(); ++i)
        collector.add(found[i].line - ties[i].line, found[i].sample - ties[i].sample,
                      distanceM(ground[i], ties[i]));
    return collector.result();
}

kimg::Georeferencing placeOf(const ImageSamples& image) {
    kerr::Slot slot;
    auto found = kimg::georeferencing(image.layer(), slot);
    if (!found)
        throw loader::Error(slot ? slot.get()->message : image.file() + ": cannot be read");
    return *std::move(found);
}

Residuals compare(const sarm::Rpc& rpc, const std::vector<TiePoint>& ties) {
    Collector collector;
    for (const TiePoint& tie : ties) {
        const auto found = sarm::rpcPosition(rpc, {tie.lonDeg, tie.latDeg, tie.heightM});
        collector.add(found.line - tie.line, found.sample - tie.sample, 0);
    }
    return collector.result();
}

RpcResiduals betterOrder(const sarm::Rpc& rpc, const std::vector<TiePoint>& points) {
    const Residuals standard = compare(rpc, points);
    const Residuals reordered = compare(fromEarlierOrder(rpc), points);
    // Both orders agree where the terms concerned are tiny; only a clear gain decides.
    const bool clear = standard.worst() > 1 && reordered.worst() < 0.1 * standard.worst();
    return {clear ? reordered : standard, clear};
}

} // namespace

std::string Residuals::text() const {
    const auto number = [](double value) {
        constexpr double readable = 1e9;
        std::ostringstream out;
        out.precision(3);
        out << (value < readable ? std::fixed : std::scientific) << value;
        return out.str();
    };
    std::ostringstream out;
    out << points << " points: line rms " << number(lineRms) << " (max " << number(lineMax)
        << "), sample rms " << number(sampleRms) << " (max " << number(sampleMax) << ')';
    if (groundRmsM > 0)
        out << ", " << number(groundRmsM) << " m rms on the ground";
    if (unanswered > 0)
        out << "; " << unanswered << " more have no answer";
    return out.str();
}

double Residuals::worst() const {
    return std::max(lineMax, sampleMax);
}

Residuals againstTiePoints(const Locator& locator, const StatedProduct& product) {
    return compare(locator, product.tiePoints());
}

PointMiss againstPoint(const Locator& locator, const TiePoint& stated) {
    std::array ground{KxfrMapPoint{stated.lonDeg, stated.latDeg, stated.heightM}};
    std::array<KxfrPixel, 1> found{};
    locator.toImage(ground, found);
    locator.toGround(std::array{KxfrPixel{stated.sample, stated.line}}, ground);
    return {found[0].line - stated.line, found[0].sample - stated.sample,
            distanceM(ground[0], stated)};
}

RpcResiduals againstOwnRpc(const Locator& locator, const StatedProduct& product,
                           std::uint32_t width, std::uint32_t height) {
    const auto items = rpcOf(product.rationalFunctions());
    if (!items)
        return {};
    constexpr int steps = 8;
    std::vector<TiePoint> points;
    for (const double part : {-0.5, 0.0, 0.5})
        for (int i = 0; i <= steps; ++i)
            for (int j = 0; j <= steps; ++j)
                points.push_back({(height - 1.0) * i / steps, (width - 1.0) * j / steps, 0, 0,
                                  items->heightOffsetM + part * items->heightScaleM});
    std::vector<KxfrPixel> pixels;
    std::vector<KxfrMapPoint> ground;
    for (const TiePoint& point : points) {
        pixels.push_back({point.sample, point.line});
        ground.push_back({0, 0, point.heightM});
    }
    locator.toGround(pixels, ground);
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i].lonDeg = ground[i].x;
        points[i].latDeg = ground[i].y;
    }
    return betterOrder(*items, points);
}

Residuals againstStatedMap(const StatedProduct& product, const std::string& imageFile) {
    const std::vector<double> stated = product.mapTransform();
    const ImageSamples image(imageFile);
    const auto own = placeOf(image).geoTransform;
    if (stated.size() != 6 || !own)
        return {};
    const auto& g = *own;
    const double area = g[1] * g[5] - g[2] * g[4];
    Collector collector;
    for (const double pixel : {0.0, 1.0 * image.width()})
        for (const double line : {0.0, 1.0 * image.height()}) {
            const double x =
                stated[0] - g[0] + (stated[1] - g[1]) * pixel + (stated[2] - g[2]) * line;
            const double y =
                stated[3] - g[3] + (stated[4] - g[4]) * pixel + (stated[5] - g[5]) * line;
            collector.add((g[1] * y - g[4] * x) / area, (g[5] * x - g[2] * y) / area,
                          std::hypot(x, y));
        }
    return collector.result();
}

Residuals againstImageTies(const Locator& locator, const std::string& imageFile) {
    const ImageSamples image(imageFile);
    const kimg::Georeferencing found = placeOf(image);
    std::vector<TiePoint> ties;
    if (found.wkt.substr(0, 3) == "GEO") // longitudes and latitudes
        for (const auto& gcp : found.gcps)
            ties.push_back({gcp.line - 0.5, gcp.pixel - 0.5, gcp.y, gcp.x, gcp.z});
    return compare(locator, ties);
}

RpcResiduals ownRpcAgainstTiePoints(const StatedProduct& product) {
    const auto& ties = product.tiePoints();
    const auto items = rpcOf(product.rationalFunctions());
    if (ties.empty() || !items)
        return {};
    return betterOrder(*items, ties);
}

} // namespace product
