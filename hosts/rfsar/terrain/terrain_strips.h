// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/terrain_nodes.h"
#include "terrain/area_file.h"

/// Bits of the mask of terrain-flattened images.
enum class RtcMask : int {
    valid = 1,   ///< lit ground
    layover = 2, ///< ground of several places; the values are of all of them together
    shadow = 4,  ///< no lit ground, or so little that a value would be noise
    outside = 8, ///< no image, or no terrain
};

constexpr int operator+(RtcMask bit) {
    return static_cast<int>(bit);
}

/// A pixel less than half covered by terrain is outside, one less than half covered by lit ground
/// in shadow, and so is one whose area seen from the antenna is less than this part of A_beta.
constexpr double leastGammaArea = 0.05;
/// A pixel with this part under turned ground lies in layover.
constexpr double leastLayover = 0.01;

/// Projects the terrain into the image, strips of lines on all cores.
/// @param memory  bytes for strips under way, about.
/// @return the share of the image, 0 to 1, that terrain covers.
/// @throws loader::Error, interruption::Interrupted.
double projectTerrain(const sarm::SensorModel& model, product::TerrainNodes& nodes, AreaFile& file,
                    std::size_t memory);
