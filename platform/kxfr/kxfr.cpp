// SPDX-License-Identifier: MIT
#include "kxfr/kxfr.h"

#include "kerr/reported.h"
#include "kxfr/part.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using kerr::reported;
using kxfr::PartPtr;

/// Number of points per pass, so that they stay in the cache from part to part.
constexpr std::size_t batch = 1024;

bool hasAnswer(const KxfrMapPoint& point) {
    return std::isfinite(point.x) && std::isfinite(point.y);
}

constexpr double none = std::numeric_limits<double>::quiet_NaN();

template <class... Parts>
KxfrXForm* makeTransform(Parts... parts) {
    std::vector<PartPtr> chain;
    (chain.push_back(std::move(parts)), ...);
    return new KxfrXForm(std::move(chain));
}

} // namespace

KxfrXForm::KxfrXForm(std::vector<PartPtr> parts) : parts_(std::move(parts)) {}

KxfrXForm::~KxfrXForm() = default;

std::size_t KxfrXForm::mapToPixel(std::span<const KxfrMapPoint> map,
                                  std::span<KxfrPixel> pixels) const {
    KxfrMapPoint points[batch];
    std::size_t answers = 0;
    for (std::size_t done = 0; done < map.size(); done += batch) {
        const std::span<KxfrMapPoint> some(points, std::min(batch, map.size() - done));
        std::copy_n(map.begin() + static_cast<std::ptrdiff_t>(done), some.size(), some.begin());
        for (const PartPtr& part : parts_)
            part->towardsPixels(some);
        for (std::size_t i = 0; i < some.size(); ++i) {
            const bool has = hasAnswer(some[i]);
            pixels[done + i] = has ? KxfrPixel{some[i].x, some[i].y} : KxfrPixel{none, none};
            answers += has;
        }
    }
    return answers;
}

std::size_t KxfrXForm::pixelToMap(std::span<const KxfrPixel> pixels,
                                  std::span<KxfrMapPoint> map) const {
    std::size_t answers = 0;
    for (std::size_t done = 0; done < pixels.size(); done += batch) {
        const auto some = map.subspan(done, std::min(batch, pixels.size() - done));
        for (std::size_t i = 0; i < some.size(); ++i) {
            some[i].x = pixels[done + i].sample;
            some[i].y = pixels[done + i].line;
        }
        for (auto part = parts_.rbegin(); part != parts_.rend(); ++part)
            (*part)->towardsMap(some);
        for (KxfrMapPoint& point : some) {
            const bool has = hasAnswer(point);
            if (!has)
                point.x = point.y = none;
            answers += has;
        }
    }
    return answers;
}

const sarm::SensorModel* KxfrXForm::sensorModel() const {
    return parts_.size() == 1 ? parts_.front()->sensorModel() : nullptr;
}

double KxfrXForm::sceneHeightM() const {
    return sensorModel() ? sensorModel()->terrainHeightM() : 0;
}

void kxfr_XFormFree(KxfrXForm* transform) {
    delete transform;
}

KxfrXForm* kxfr_XFormFromAffine(const std::array<double, 6>& g, double width, double height,
                                KxfrMap map, KERR_REPORT** slot) {
    return reported(__func__, slot, [&] {
        // From the first pixel's outer corner to its centre.
        PartPtr affine = kxfr::makeAffine(
            {{g[0] + (g[1] + g[2]) / 2, g[1], g[2]}, {g[3] + (g[4] + g[5]) / 2, g[4], g[5]}});
        if (map == KxfrMap::plane)
            return makeTransform(std::move(affine));
        const double middle = g[0] + (g[1] * width + g[2] * height) / 2;
        return makeTransform(kxfr::makeLongitudeTurn({middle}), std::move(affine));
    });
}

KxfrXForm* kxfr_XFormFromTies(std::span<const KxfrTie> ties, KxfrMap map, KERR_REPORT** slot) {
    return reported(__func__, slot, [&] {
        if (map == KxfrMap::plane)
            return makeTransform(kxfr::makePolynomial(kxfr::fitPolynomial(ties)));
        PartPtr plane = kxfr::makeTouchingPlane(kxfr::touchingPlaneOf(ties));
        std::vector<KxfrTie> flat(ties.begin(), ties.end());
        for (KxfrTie& tie : flat) {
            KxfrMapPoint point{tie.x, tie.y, 0};
            plane->towardsPixels({&point, 1});
            tie.x = point.x;
            tie.y = point.y;
        }
        return makeTransform(std::move(plane), kxfr::makePolynomial(kxfr::fitPolynomial(flat)));
    });
}

KxfrXForm* kxfr_XFormFromSarModel(const sarm::Model& model, KERR_REPORT** slot) {
    return reported(__func__, slot,
                    [&] { return makeTransform(kxfr::makeRangeDoppler(model.parameters())); });
}

KxfrXForm* kxfr_XFormFromPolarFormat(const sarm::PolarFormatParameters& parameters,
                                     KERR_REPORT** slot) {
    return reported(__func__, slot,
                    [&] { return makeTransform(kxfr::makePolarFormat(parameters)); });
}
