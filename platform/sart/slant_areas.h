// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/sensor_model.h"
#include "sart/terrain_grid.h"

#include <vector>

namespace sart {

/// Size of an image's pixels in the slant plane, A_beta: slant range times the spacing along the
/// track at the ground. At satellite heights that spacing is a tenth smaller than the antenna's own
/// way, changes from near to far range and with the height of the ground. Constant after
/// construction, any thread.
///
/// Equation: with P in space and its image position (x, y), A_beta = 1 / |grad x cross grad y|,
/// which is dr * dt * (V.dS/dt - A.(P - S)) / |V| in zero-Doppler images. By differences over 50 m
/// in a grid of at most 128 x 128 places at two heights, linear between: 1e-6.
class RF_PLATFORM_API SlantAreas {
public:
    /// @param heights  of the terrain.
    SlantAreas(const sarm::SensorModel& model, const HeightRange& heights);

    /// @return m2; NaN where the model does not reach.
    double at(double sample, double line, double heightM) const;

private:
    double node(int row, int column, int height) const {
        return values_[static_cast<std::size_t>(2 * (row * (columns_ + 1) + column) + height)];
    }

    int rows_, columns_; ///< intervals of the grid
    double rowsPerLine_, columnsPerSample_;
    HeightRange heights_;
    std::vector<double> values_;
};

} // namespace sart
