// SPDX-License-Identifier: MIT
#pragma once

#include "platform/sarm/sar_record.h"
#include "sart/slant_areas.h"
#include "sart/terrain_areas.h"

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

namespace support {

constexpr double degree = std::numbers::pi / 180;

/// Height, m, from metres towards the far edge and along the flight, counted from the middle of the
/// image.
using Relief = std::function<double(double outwardsM, double alongM)>;

/// A circular orbit above the equator of a sphere, all known in closed form, and a small
/// slant-range image of 5 m x about 10 m pixels whose middle is seen at 35 degrees.
struct CircleWorld {
    static constexpr double earth = 6371000, orbitRadius = earth + 700e3, rate = 1.06e-3;
    static constexpr double slantSpacing = 5, lineInterval = 1.5e-3;
    static constexpr int samples = 400, lines = 300;

    explicit CircleWorld(double side = -90, bool samplesFall = false, bool linesFall = false)
        : side_(side) {
        Scene scene;
        scene.side = side;
        scene.samples = samples;
        scene.lines = lines;
        scene.pixelSpacing = slantSpacing;
        scene.durationS = lineInterval * (lines - 1);
        scene.arcS = 10;
        scene.pixelOrdering = samplesFall;
        scene.lineOrdering = linesFall;
        const double incidence = 35 * degree;
        const double look = std::asin(earth / orbitRadius * std::sin(incidence));
        centreAngle_ = incidence - look;
        const double range = earth * std::sin(centreAngle_) / std::sin(look);
        scene.nearRange = range - slantSpacing * (samples - 1) / 2;
        const auto record = recordOf(scene, satelliteOver(0, 0, 90));
        record->semiMajorAxis = record->semiMinorAxis = earth;
        std::vector<sarm::StateVector> circle;
        const double first = record->stateVectorFirstTime - scene.startS;
        for (int i = 0; i < scene.vectors; ++i) {
            const double t = first + record->stateVectorInterval * i - scene.durationS / 2;
            circle.push_back({0, antenna(t), rate * sarm::cross({0, 0, 1}, antenna(t))});
        }
        setVectors(*record, circle);
        model.emplace(sarm::Model::fromRecord(*record).value());
    }

    /// Time from the middle line.
    static sarm::Vec3 antenna(double timeS) {
        return orbitRadius * sarm::Vec3{std::cos(rate * timeS), std::sin(rate * timeS), 0};
    }

    sarm::GroundPosition ground(double outwardsM, double alongM, double heightM) const {
        const double out = centreAngle_ + outwardsM / earth;
        return {alongM / (earth * std::cos(centreAngle_)) / degree,
                (side_ < 0 ? out : -out) / degree, heightM};
    }
    double outwardsM(const sarm::GroundPosition& at) const {
        return (std::abs(at.latDeg) * degree - centreAngle_) * earth;
    }
    double alongM(const sarm::GroundPosition& at) const {
        return at.lonDeg * degree * earth * std::cos(centreAngle_);
    }
    sarm::Vec3 point(const Relief& relief, double outwards, double along) const {
        return sarm::toEarthFixed(ground(outwards, along, relief(outwards, along)), sphere());
    }
    static sarm::Ellipsoid sphere() { return {earth, earth}; }

    /// Outward area of the surface a square metre of (outwards, along), by differences.
    sarm::Vec3 areaVector(const Relief& relief, double outwards, double along) const {
        const double d = 0.5;
        const sarm::Vec3 u =
            point(relief, outwards + d, along) - point(relief, outwards - d, along);
        const sarm::Vec3 v =
            point(relief, outwards, along + d) - point(relief, outwards, along - d);
        const sarm::Vec3 n = sarm::cross(u, v);
        return (dot(n, point(relief, outwards, along)) < 0 ? -1 : 1) * n;
    }

    /// Where a pixel sees a surface without folds.
    sarm::GroundPosition seen(const Relief& relief, double sample, double line) const {
        double height = relief(0, 0);
        for (int i = 0; i < 60; ++i) {
            const auto at = model->imageToGround({sample, line}, height).value();
            height += 0.7 * (relief(outwardsM(at), alongM(at)) - height);
        }
        return model->imageToGround({sample, line}, height).value();
    }

    std::optional<sarm::Model> model;

private:
    double side_, centreAngle_;
};

/// Nodes in a rectangle turned against the image, with the heights of a relief.
class ReliefGrid final : public sart::TerrainGrid {
public:
    ReliefGrid(const CircleWorld& world, Relief relief, double stepM, double halfSideM = 4000,
               double turnDeg = 17)
        : world_(world), relief_(std::move(relief)), step_(stepM), half_(halfSideM),
          cos_(std::cos(turnDeg * degree)), sin_(std::sin(turnDeg * degree)),
          side_(static_cast<int>(2 * halfSideM / stepM) + 1) {
        for (int row = 0; row < side_; ++row)
            for (int column = 0; column < side_; ++column) {
                const double height = heightAt(row, column);
                range_.lowestM = std::min(range_.lowestM, height);
                range_.highestM = std::max(range_.highestM, height);
            }
    }

    int rows() const override { return side_; }
    int columns() const override { return side_; }
    void nodes(int row, int firstColumn, std::span<sarm::GroundPosition> to) const override {
        for (std::size_t i = 0; i < to.size(); ++i) {
            const int column = firstColumn + static_cast<int>(i);
            const auto [out, along] = at(row, column);
            to[i] = world_.ground(out, along, heightAt(row, column));
        }
    }
    sart::GridPlace placeOf(double lonDeg, double latDeg) const override {
        const double out = world_.outwardsM({lonDeg, latDeg, 0});
        const double along = world_.alongM({lonDeg, latDeg, 0});
        return {(cos_ * out + sin_ * along + half_) / step_,
                (-sin_ * out + cos_ * along + half_) / step_};
    }
    double spacingM() const override { return step_; }
    sart::HeightRange heights() const override { return range_; }

    /// Nodes inside it have no height.
    sart::GridPlace holeFrom{1e9, 1e9}, holeTo{-1e9, -1e9};

private:
    std::pair<double, double> at(double row, double column) const {
        const double u = row * step_ - half_, v = column * step_ - half_;
        return {cos_ * u - sin_ * v, sin_ * u + cos_ * v};
    }
    double heightAt(int row, int column) const {
        const auto [out, along] = at(row, column);
        if (row >= holeFrom.row && row <= holeTo.row && column >= holeFrom.column &&
            column <= holeTo.column)
            return std::numeric_limits<double>::quiet_NaN();
        return relief_(out, along);
    }

    const CircleWorld& world_;
    Relief relief_;
    double step_, half_, cos_, sin_;
    int side_;
    sart::HeightRange range_{1e9, -1e9};
};

/// A relief flattened towards a rim outside which it is level.
inline Relief cone(double slopeDeg, double radiusM) {
    return [=](double out, double along) {
        return std::max(0.0, radiusM - std::hypot(out, along)) * std::tan(slopeDeg * degree);
    };
}

} // namespace support
