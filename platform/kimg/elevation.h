// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kprj/heights.h"
#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "rf_platform_api.h"

#include <array>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kimg {

/// The files of an elevation model, and the reference of their heights.
struct ElevationSource {
    /// Files, or folders (without their subfolders): GeoTIFF, VRT, SRTM, DTED, ASCII grid, in any
    /// coordinate system, local or on virtual paths. Where files overlap, the first with a height
    /// is used.
    std::vector<std::string> paths;
    /// The reference of the heights: "auto" (as each file states; a file that states none is taken
    /// as "ellipsoid", see ElevationModel::remarks), "ellipsoid", a geoid's name as in
    /// kprj_Geoids(), or a file of geoid heights above the ellipsoid, in m (GTX, GeoTIFF).
    std::string heights = "auto";
};

/// Points of a map's grid: (column, line) is at x = left + column * stepX, y = top + line * stepY,
/// in units of the map.
struct MapBlock {
    double left = 0, top = 0, stepX = 0, stepY = 0;
    std::uint32_t columns = 0, lines = 0;
};

/// A digital elevation model of one or many files, of which the first band is read. All heights
/// that it returns are metres above the WGS 84 ellipsoid, whatever reference and unit the files
/// have.
///
/// Heights are bilinear between pixel centres, also across the seams of files with one grid;
/// between files of different grids, heights are interpolated linearly from edge to edge. The outer
/// half of an edge pixel has that pixel's height. If one of the four surrounding pixels has no
/// height in any file, the result is NaN, as outside. Each thread needs an object of its own;
/// another() makes one that shares the files.
class RF_PLATFORM_API ElevationModel {
public:
    /// @return null with a report that names the file when a file cannot be opened, has no
    ///         georeferencing, or has heights in a system that cannot be converted, because it is
    ///         unknown or PROJ does not find its grid.
    static std::unique_ptr<ElevationModel> open(const ElevationSource& source, KERR_REPORT** slot);
    ~ElevationModel();
    ElevationModel(const ElevationModel&) = delete;
    ElevationModel& operator=(const ElevationModel&) = delete;

    /// @return the same model for another thread; null with a report when memory is short.
    std::unique_ptr<ElevationModel> another(KERR_REPORT** slot) const;

    /// @return a sentence that the user should know; may be empty.
    const std::string& remarks() const;

    /// Sets heightM of every point from its x (longitude) and y (latitude), WGS 84, degrees. Exact;
    /// fastest for points close together.
    /// @return false with a report that names the file when it cannot be read.
    bool heightsAt(std::span<KxfrMapPoint> points, KERR_REPORT** slot) const;

    /// Computes longitude (-180..180), latitude (WGS 84, degrees) and height of each point of a
    /// block of a map's grid, line by line. Projection and geoid are computed exactly at few points
    /// and interpolated between them.
    /// @param map  converter of the map's projection.
    /// @param accuracy  allowed error of interpolated positions, in steps of the grid. Heights are
    ///        taken at these positions; the geoid's error, in m, is at most that of a position.
    /// @param nodes  receives columns * lines points; one without longitude and latitude is all
    ///        NaN.
    /// @return false with a report that names the file when it cannot be read.
    /// Memory: about 100 bytes a point, and at most 8 MiB or 64 bytes a point of heights under way;
    /// GDAL's block cache comes on top (limitBlockCache).
    bool nodesOf(const KprjGeographicConverter& map, const MapBlock& block, double accuracy,
                 std::span<KxfrMapPoint> nodes, KERR_REPORT** slot) const;

    /// The pixel centres of a model's file as a grid: block.left, top is the centre of the first.
    struct Posts {
        std::string wkt; ///< of the horizontal system
        MapBlock block;
    };
    /// @return the grid of the first file, extended over all files of the same grid, for callers
    ///         that want the model's heights uninterpolated. Its step is 0 if the grid is rotated
    ///         against its map.
    Posts posts() const;

private:
    struct State;
    explicit ElevationModel(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace kimg
