// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

namespace kxfr {

/// N smooth functions over a rectangle of columns and lines, computed exactly at few points and
/// interpolated between them. Interpolation is bilinear in square cells. Each cell is checked at
/// its middle and at the middles of its sides (for a conformal map the middle alone shows no error)
/// and is quartered if the error is too large. The smallest cells that still fail are computed
/// exactly, so that poles and other breaks stay in place. For one use by one thread.
template <std::size_t N>
class SmoothGrid {
public:
    using Values = std::array<double, N>;
    struct Place {
        double column, line;
    };

    /// @param tolerances  allowed interpolation error of each component.
    /// @param exact  called as exact(std::span<const Place>, std::span<Values>); sets NaN in a
    ///        component without a value.
    template <class Exact>
    SmoothGrid(std::uint32_t columns, std::uint32_t lines, const Values& tolerances,
               const Exact& exact)
        : columns_(columns), lines_(lines), tolerances_(tolerances) {
        const std::size_t count = std::size_t{columns} * lines;
        for (auto& component : found_)
            component = std::make_unique_for_overwrite<double[]>(count);
        constexpr double none = std::numeric_limits<double>::infinity();
        ranges_.fill({none, -none});
        firstCells(exact);
        for (std::uint32_t side = largestCell / 2; side >= smallestCell && !open_.empty();
             side /= 2)
            nextCells(side, exact);
        for (const Cell& cell : open_)
            fillExactly(cell, exact);
    }

    /// @return a component, line by line.
    std::span<const double> operator[](std::size_t component) const {
        return {found_[component].get(), std::size_t{columns_} * lines_};
    }
    /// @return least and greatest value of a component, without NaN; the first is larger when there
    ///         is none.
    std::array<double, 2> rangeOf(std::size_t component) const { return ranges_[component]; }

private:
    static constexpr std::uint32_t largestCell = 32, smallestCell = 4;
    /// A good cell is interpolated in quarters, whose error is about a quarter of the one checked.
    static constexpr double seenToLeft = 2;

    struct Cell {
        std::uint32_t column, line, side;
    };
    /// A cell's corners, middles of sides and middle, line by line.
    using Nine = std::array<const Values*, 9>;

    template <class Exact>
    void firstCells(const Exact& exact) {
        const std::uint32_t half = largestCell / 2;
        const std::uint32_t across = (columns_ + largestCell - 1) / largestCell;
        const std::uint32_t down = (lines_ + largestCell - 1) / largestCell;
        const std::size_t stride = 2 * std::size_t{across} + 1;
        std::vector<Place> places;
        for (std::uint32_t j = 0; j <= 2 * down; ++j)
            for (std::uint32_t i = 0; i < stride; ++i)
                places.push_back({double(i) * half, double(j) * half});
        std::vector<Values> values(places.size());
        exact(std::span<const Place>(places), std::span<Values>(values));
        for (std::uint32_t j = 0; j < down; ++j)
            for (std::uint32_t i = 0; i < across; ++i) {
                Nine nine;
                for (std::size_t k = 0; k < 9; ++k)
                    nine[k] = &values[(2 * j + k / 3) * stride + 2 * i + k % 3];
                take({i * largestCell, j * largestCell, largestCell}, nine);
            }
    }

    /// Checks the quarters of the cells that failed.
    template <class Exact>
    void nextCells(std::uint32_t side, const Exact& exact) {
        std::vector<Cell> cells;
        std::vector<Place> places;
        for (const Cell& whole : open_)
            for (std::uint32_t quarter = 0; quarter < 4; ++quarter) {
                const Cell cell{whole.column + quarter % 2 * side, whole.line + quarter / 2 * side,
                                side};
                if (cell.column >= columns_ || cell.line >= lines_)
                    continue;
                cells.push_back(cell);
                for (int k = 0; k < 9; ++k)
                    places.push_back(
                        {cell.column + k % 3 * 0.5 * side, cell.line + k / 3 * 0.5 * side});
            }
        open_.clear();
        std::vector<Values> values(places.size());
        exact(std::span<const Place>(places), std::span<Values>(values));
        for (std::size_t i = 0; i < cells.size(); ++i) {
            Nine nine;
            for (std::size_t k = 0; k < 9; ++k)
                nine[k] = &values[9 * i + k];
            take(cells[i], nine);
        }
    }

    void take(const Cell& cell, const Nine& nine) {
        if (!isGood(nine)) {
            open_.push_back(cell);
            return;
        }
        const std::uint32_t half = cell.side / 2;
        for (std::uint32_t quarter = 0; quarter < 4; ++quarter) {
            const std::size_t corner = quarter / 2 * 3 + quarter % 2;
            fill({cell.column + quarter % 2 * half, cell.line + quarter / 2 * half, half},
                 {nine[corner], nine[corner + 1], nine[corner + 3], nine[corner + 4]});
        }
    }

    bool isGood(const Nine& nine) const {
        for (std::size_t c = 0; c < N; ++c) {
            const auto at = [&](std::size_t k) { return (*nine[k])[c]; };
            const double limit = seenToLeft * tolerances_[c];
            const double off[] = {at(1) - (at(0) + at(2)) / 2, at(3) - (at(0) + at(6)) / 2,
                                  at(5) - (at(2) + at(8)) / 2, at(7) - (at(6) + at(8)) / 2,
                                  at(4) - (at(0) + at(2) + at(6) + at(8)) / 4};
            for (const double each : off)
                if (!(std::abs(each) <= limit))
                    return false;
        }
        return true;
    }

    void fill(const Cell& cell, const std::array<const Values*, 4>& corners) {
        if (cell.column >= columns_ || cell.line >= lines_)
            return;
        const std::uint32_t width = std::min(cell.side, columns_ - cell.column);
        const std::uint32_t height = std::min(cell.side, lines_ - cell.line);
        const double part = 1.0 / cell.side;
        for (std::size_t c = 0; c < N; ++c) {
            for (const Values* corner : corners)
                widen(c, (*corner)[c]);
            const double left = (*corners[0])[c], right = (*corners[1])[c];
            const double leftDown = ((*corners[2])[c] - left) * part;
            const double rightDown = ((*corners[3])[c] - right) * part;
            for (std::uint32_t y = 0; y < height; ++y) {
                const double first = left + y * leftDown;
                const double step = (right + y * rightDown - first) * part;
                double* to = &found_[c][std::size_t{cell.line + y} * columns_ + cell.column];
                for (std::uint32_t x = 0; x < width; ++x)
                    to[x] = first + double(x) * step;
            }
        }
    }

    template <class Exact>
    void fillExactly(const Cell& cell, const Exact& exact) {
        std::vector<Place> places;
        const std::uint32_t right = std::min(cell.column + cell.side, columns_);
        const std::uint32_t bottom = std::min(cell.line + cell.side, lines_);
        for (std::uint32_t line = cell.line; line < bottom; ++line)
            for (std::uint32_t column = cell.column; column < right; ++column)
                places.push_back({double(column), double(line)});
        std::vector<Values> values(places.size());
        exact(std::span<const Place>(places), std::span<Values>(values));
        for (std::size_t i = 0; i < places.size(); ++i)
            for (std::size_t c = 0; c < N; ++c) {
                widen(c, values[i][c]);
                found_[c][static_cast<std::size_t>(places[i].line) * columns_ +
                          static_cast<std::size_t>(places[i].column)] = values[i][c];
            }
    }

    /// Bilinear values lie between those of the corners, so only corners count.
    void widen(std::size_t component, double value) {
        auto& [low, high] = ranges_[component];
        low = value < low ? value : low;
        high = value > high ? value : high;
    }

    std::uint32_t columns_, lines_;
    Values tolerances_;
    std::array<std::unique_ptr<double[]>, N> found_;
    std::array<std::array<double, 2>, N> ranges_;
    std::vector<Cell> open_; ///< cells that failed the check
};

} // namespace kxfr
