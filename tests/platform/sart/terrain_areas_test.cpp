// SPDX-License-Identifier: MIT
#include "sart/terrain_areas.h"

#include "platform/sart/terrain_world.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <thread>

namespace {

using support::CircleWorld;
using support::degree;
using support::Relief;
using support::ReliefGrid;

constexpr int samples = CircleWorld::samples, lines = CircleWorld::lines;
using Picture = std::vector<sart::PixelGround>;

const sart::PixelGround& at(const Picture& picture, int sample, int line) {
    return picture[static_cast<std::size_t>(line * samples + sample)];
}

Picture projected(const sarm::SensorModel& model, const sart::TerrainGrid& terrain,
                  int stripLines = lines, int firstStrip = 0, int everyStrip = 1) {
    sart::TerrainAreas areas(model, terrain);
    Picture picture(static_cast<std::size_t>(samples * lines));
    int strip = 0;
    for (int first = 0; first < lines; first += stripLines, ++strip) {
        if (strip % everyStrip != firstStrip)
            continue;
        const int count = std::min(stripLines, lines - first);
        areas.project(first, count);
        for (int line = first; line < first + count; ++line)
            std::copy_n(areas.line(line).begin(), samples, picture.begin() + line * samples);
    }
    return picture;
}

Picture projected(const CircleWorld& world, const Relief& relief, double stepM) {
    return projected(*world.model, ReliefGrid(world, relief, stepM));
}

double total(const Picture& picture) {
    double sum = 0;
    for (const sart::PixelGround& pixel : picture)
        sum += pixel.gammaM2();
    return sum;
}

Relief plane(double outwardsDeg, double alongDeg, double heightM = 0) {
    return [=](double out, double along) {
        return heightM + out * std::tan(outwardsDeg * degree) + along * std::tan(alongDeg * degree);
    };
}

Relief waves(double heightM = 0) {
    return [=](double out, double along) {
        return heightM + 120 * std::sin(out / 250) * std::cos(along / 300);
    };
}

/// Zero on the square of 1500 m about the middle, smooth there.
double rim(double out, double along) {
    const auto fade = [](double x) {
        const double t = std::max(0.0, 1 - x * x / (700.0 * 700.0));
        return t * t;
    };
    return fade(out) * fade(along);
}

TEST(TerrainAreas, LevelAndTiltedGroundFollowTheClosedForm) {
    struct Case {
        double outwardsDeg, alongDeg, heightM, side;
        bool samplesFall, linesFall;
    };
    // A slope of -25 degrees falls outwards: it turns away from the antenna.
    for (const Case& c : {Case{0, 0, 0, -90, false, false}, Case{0, 0, 3000, 90, true, false},
                          Case{15, 0, 370, 90, false, true}, Case{-15, 0, 0, -90, true, true},
                          Case{25, 0, 0, -90, false, false}, Case{-25, 0, 0, 90, false, false},
                          Case{0, 20, 0, -90, false, false}, Case{0, -20, 0, 90, true, true}}) {
        SCOPED_TRACE(testing::Message() << c.outwardsDeg << " " << c.alongDeg << " " << c.heightM);
        const CircleWorld world(c.side, c.samplesFall, c.linesFall);
        const Relief relief = plane(c.outwardsDeg, c.alongDeg, c.heightM);
        const ReliefGrid grid(world, relief, 30, 6000 + c.heightM);
        const Picture picture = projected(*world.model, grid);
        const sart::SlantAreas slant(*world.model, grid.heights());
        double worst = 0, worstSlant = 0, worstTan = 0, worstHeight = 0;
        for (int line = 2; line < lines; line += 37)
            for (int sample = 0; sample < samples; ++sample) {
                const auto place = world.seen(relief, sample, line);
                const double time = ((c.linesFall ? lines - 1 - line : line) - (lines - 1) / 2.0) *
                                    CircleWorld::lineInterval;
                const sarm::Vec3 antenna = world.antenna(time);
                const sarm::Vec3 flight = CircleWorld::rate * cross(sarm::Vec3{0, 0, 1}, antenna);
                const sarm::Vec3 point = sarm::toEarthFixed(place, world.sphere());
                const sarm::Vec3 sight = (1 / norm(point - antenna)) * (point - antenna);
                const sarm::Vec3 n =
                    world.areaVector(relief, world.outwardsM(place), world.alongM(place));
                // The antenna's acceleration is -rate^2 times its position.
                const double speed = norm(flight);
                const double along = speed * CircleWorld::lineInterval *
                                     (1 + CircleWorld::rate * CircleWorld::rate *
                                              dot(antenna, point - antenna) / (speed * speed));
                const double beta = CircleWorld::slantSpacing * along;
                const double gamma =
                    beta * -dot(n, sight) / std::abs(dot(n, cross(sight, (1 / speed) * flight)));
                const sart::PixelGround& pixel = at(picture, sample, line);
                worst = std::max(worst, std::abs(pixel.gammaM2() / gamma - 1));
                worstSlant = std::max(worstSlant,
                                      std::abs(slant.at(sample, line, pixel.heightM()) / beta - 1));
                worstHeight = std::max(worstHeight, std::abs(pixel.heightM() - place.heightM));
                if (c.outwardsDeg == 0 && c.alongDeg == 0) {
                    const double incidence =
                        world.model->incidenceDeg({double(sample), double(line)}, c.heightM)
                            .value();
                    worstTan = std::max(
                        worstTan, std::abs(slant.at(sample, line, c.heightM) / pixel.gammaM2() /
                                               std::tan(incidence * degree) -
                                           1));
                }
                EXPECT_NEAR(pixel.upright(), 1, 1e-4);
                EXPECT_NEAR(pixel.turned() + pixel.dark(), 0, 1e-4);
            }
        EXPECT_LT(worst, 1.5e-4);
        EXPECT_LT(worstSlant, 2e-6);
        EXPECT_LT(worstTan, 1e-4);
        EXPECT_LT(worstHeight, 7) << "half a triangle's own range of heights";
    }
}

TEST(TerrainAreas, ReliefWithinALevelRimSeesTheSameFlux) {
    const CircleWorld world;
    const double level = total(projected(world, plane(0, 0), 10));
    for (const Relief& relief :
         {Relief(support::cone(20, 600)),
          Relief([](double out, double along) { return rim(out, along) * waves()(out, along); }),
          Relief(
              [](double out, double along) { return rim(out, along) * plane(14, 6)(out, along); })})
        EXPECT_NEAR(total(projected(world, relief, 10)) / level, 1, 1e-4);
    // Layover folds the image but loses nothing.
    EXPECT_NEAR(total(projected(world, support::cone(50, 400), 10)) / level, 1, 1e-4);
}

TEST(TerrainAreas, LeftAndRightAreMirrorImages) {
    const CircleWorld left(-90), right(+90);
    const Picture one = projected(left, support::cone(48, 500), 20);
    const Picture other = projected(right, support::cone(48, 500), 20);
    for (std::size_t i = 0; i < one.size(); ++i) {
        ASSERT_NEAR(one[i].gammaM2(), other[i].gammaM2(), 1e-9 * (1 + one[i].gammaM2())) << i;
        ASSERT_NEAR(one[i].turned(), other[i].turned(), 1e-4) << i;
    }
}

TEST(TerrainAreas, FinerTerrainChangesTheAreasLessAndLess) {
    const CircleWorld world;
    for (const Relief& relief : {waves(), Relief(support::cone(20, 900))}) {
        Picture before = projected(world, relief, 40);
        double changeBefore = 0;
        for (const double step : {20.0, 10.0, 5.0}) {
            const Picture now = projected(world, relief, step);
            double change = 0;
            for (std::size_t i = 0; i < now.size(); ++i)
                change += std::abs(now[i].gammaM2() - before[i].gammaM2());
            if (changeBefore > 0) {
                EXPECT_LT(change, changeBefore / 2) << step;
            }
            changeBefore = change;
            before = now;
        }
    }
}

TEST(TerrainAreas, AWorldOfConstantGammaMadeOfRandomPointsComesBack) {
    const CircleWorld world;
    const Relief relief = [](double out, double along) {
        return waves()(out, along) + support::cone(45, 500)(out, along);
    };
    const Picture picture = projected(world, relief, 10);
    // Points spread evenly over the map, each with the area that it stands for.
    constexpr double half = 2600;
    constexpr int count = 3'000'000;
    constexpr int block = 10;
    std::mt19937_64 random(20110801);
    std::uniform_real_distribution<double> place(-half, half);
    struct Cell {
        double power = 0, area = 0, squares = 0;
    };
    std::vector<Cell> cells(samples / block * lines / block);
    const double areaOfOne = 4 * half * half / count;
    for (int i = 0; i < count; ++i) {
        const double out = place(random), along = place(random);
        const auto image =
            world.model->groundToImage(world.ground(out, along, relief(out, along))).value();
        const int sample = static_cast<int>(std::floor(image.sample + 0.5));
        const int line = static_cast<int>(std::floor(image.line + 0.5));
        if (sample < 0 || line < 0 || sample >= samples || line >= lines)
            continue;
        const sarm::Vec3 point = world.point(relief, out, along);
        const sarm::Vec3 sight = world.model->antennaAt(image.line) - point;
        const double area =
            areaOfOne * dot(world.areaVector(relief, out, along), sight) / norm(sight);
        Cell& cell =
            cells[static_cast<std::size_t>(line / block * (samples / block) + sample / block)];
        cell.power += std::max(0.0, area);
        cell.squares += area * area;
    }
    for (int line = 0; line < lines; ++line)
        for (int sample = 0; sample < samples; ++sample)
            cells[static_cast<std::size_t>(line / block * (samples / block) + sample / block)]
                .area += at(picture, sample, line).gammaM2();
    double squares = 0, power = 0, area = 0;
    for (const Cell& cell : cells) {
        const double error = (cell.power - cell.area) / std::sqrt(cell.squares);
        EXPECT_LT(std::abs(error), 5);
        squares += error * error;
        power += cell.power;
        area += cell.area;
    }
    const double n = static_cast<double>(cells.size());
    EXPECT_NEAR(squares / n, 1, 3 * std::sqrt(2 / n)) << "errors are those of chance alone";
    EXPECT_NEAR(power / area, 1, 3e-3);
}

TEST(TerrainAreas, ARaisedTerrainMovesInTheImageAndKeepsItsValues) {
    const CircleWorld world;
    const Picture low = projected(world, waves(), 5), high = projected(world, waves(100), 5);
    const auto value = [&](const Picture& picture, double out, double along, double height) {
        const auto image = world.model->groundToImage(world.ground(out, along, height)).value();
        const int sample = static_cast<int>(image.sample), line = static_cast<int>(image.line);
        const double x = image.sample - sample, y = image.line - line;
        const auto gamma = [&](int dx, int dy) {
            return at(picture, sample + dx, line + dy).gammaM2();
        };
        return (1 - y) * ((1 - x) * gamma(0, 0) + x * gamma(1, 0)) +
               y * ((1 - x) * gamma(0, 1) + x * gamma(1, 1));
    };
    double squares = 0;
    int count = 0;
    for (double out = -1000; out <= 1000; out += 50)
        for (double along = -1000; along <= 1000; along += 50, ++count) {
            const double ratio = value(high, out, along, waves(100)(out, along)) /
                                 value(low, out, along, waves()(out, along));
            squares += (ratio - 1) * (ratio - 1);
        }
    EXPECT_LT(std::sqrt(squares / count), 1e-3);
}

TEST(TerrainAreas, ASteepConeIsInShadowBehindAndInLayoverInFront) {
    constexpr double slope = 65, radius = 250;
    const Relief relief = support::cone(slope, radius);
    for (const bool fall : {false, true}) {
        const CircleWorld world(fall ? 90 : -90, fall);
        const double summit = relief(0, 0);
        const auto sampleOf = [&](double out, double height) {
            const double sample = world.model->groundToImage(world.ground(out, 0, height))->sample;
            return fall ? samples - 1 - sample : sample;
        };
        for (const double step : {5.0, 20.0}) {
            const Picture picture = projected(*world.model, ReliefGrid(world, relief, step));
            const auto pixel = [&](double sample) {
                const int column = static_cast<int>(std::lround(sample));
                return at(picture, fall ? samples - 1 - column : column, (lines - 1) / 2);
            };
            // Along the line through the summit: ranges from there to the foot in front hold the
            // slope in front, turned, over level ground; then the summit's shadow begins, which
            // ends where its line of sight meets level ground.
            const double summitAt = sampleOf(0, summit);
            const sarm::Vec3 antenna = world.antenna(0);
            const sarm::Vec3 top = world.point(relief, 0, 0);
            const sarm::Vec3 sight = (1 / norm(top - antenna)) * (top - antenna);
            const double b = dot(top, sight);
            const double toGround =
                -b - std::sqrt(b * b - dot(top, top) + CircleWorld::earth * CircleWorld::earth);
            const double shadowEnd = summitAt + toGround / CircleWorld::slantSpacing;
            const double tolerance = step == 5 ? 1 : 3; // the summit's grid knows no better
            const auto clear = [&](double fromEdge) { return fromEdge > 2 ? 1e-4 : 1e-3; };
            const double foot = sampleOf(-radius, 0);
            ASSERT_GT(foot - summitAt, 20);
            ASSERT_GT(shadowEnd - foot, 20);
            for (double s = foot + tolerance; s < shadowEnd - tolerance; ++s) {
                EXPECT_NEAR(pixel(s).upright(), 0, clear(shadowEnd - s)) << s - foot;
                EXPECT_NEAR(pixel(s).covered(), 1, 1e-3);
            }
            for (double s = shadowEnd + tolerance; s < shadowEnd + 40; ++s)
                EXPECT_NEAR(pixel(s).upright(), 1, 1e-4) << s - shadowEnd;
            for (double s = summitAt + tolerance; s < foot - tolerance; ++s)
                EXPECT_GT(pixel(s).turned(), 0.2) << s - summitAt;
            for (double s = summitAt - 20; s < summitAt - tolerance; ++s)
                EXPECT_NEAR(pixel(s).turned(), 0, 1e-4);
        }
    }
}

TEST(TerrainAreas, ABitIsABitInEveryStripOnEveryThread) {
    const CircleWorld world;
    const Relief relief = [](double out, double along) {
        return support::cone(62, 300)(out + 500, along - 200) + waves()(out, along);
    };
    const ReliefGrid grid(world, relief, 25);
    const Picture whole = projected(*world.model, grid);
    const auto same = [&](const Picture& other) {
        return std::memcmp(whole.data(), other.data(), whole.size() * sizeof whole[0]) == 0;
    };
    double dark = 0;
    for (const sart::PixelGround& pixel : whole)
        dark += pixel.dark();
    EXPECT_GT(dark, 1000) << "pixels; there is a shadow to disagree about";
    for (const int stripLines : {1, 7, 64})
        EXPECT_TRUE(same(projected(*world.model, grid, stripLines))) << stripLines;
    Picture parts[2];
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&, i] { parts[i] = projected(*world.model, grid, 20, i, 2); });
    for (std::thread& thread : threads)
        thread.join();
    for (int line = 0; line < lines; ++line)
        if (line / 20 % 2 == 1)
            std::copy_n(parts[1].begin() + line * samples, samples,
                        parts[0].begin() + line * samples);
    EXPECT_TRUE(same(parts[0]));
}

TEST(TerrainAreas, GroundWithoutTerrainIsNotCovered) {
    const CircleWorld world;
    ReliefGrid grid(world, plane(0, 0), 30, 4000, 0);
    const Picture whole = projected(*world.model, grid);
    grid.holeFrom = {120, 125};
    grid.holeTo = {131, 139};
    const Picture holed = projected(*world.model, grid);
    double area = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        EXPECT_NEAR(whole[i].covered(), 1, 1e-4);
        area += whole[i].sigmaM2() - holed[i].sigmaM2();
        EXPECT_NEAR(holed[i].gammaM2(), whole[i].gammaM2() * holed[i].covered(),
                    2e-4 * whole[i].gammaM2());
    }
    // All triangles that touch a lost node: 13 x 16 cells less two corners cut by their diagonals.
    EXPECT_NEAR(area / (30 * 30), 13 * 16 - 1, 0.05);
}

} // namespace
