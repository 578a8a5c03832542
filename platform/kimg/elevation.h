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

/// What an elevation model is made of.
struct ElevationSource {
    /// Files, or folders whose own files (those below not) are taken: GeoTIFF, VRT, SRTM, DTED,
    /// ASCII grid, in any coordinate system, local or on virtual paths. Where they overlap the
    /// first that has a height counts.
    std::vector<std::string> paths;
    /// From what their heights count: "auto" (as each file says; a file that says nothing is taken
    /// as "ellipsoid", see ElevationModel::remarks), "ellipsoid", a geoid's name as in
    /// kprj_Geoids(), or a file of geoid heights above the ellipsoid, in m (GTX, GeoTIFF).
    std::string heights = "auto";
};

/// Points of a map's grid: (column, line) lies at x = left + column * stepX,
/// y = top + line * stepY, in units of the map.
struct MapBlock {
    double left = 0, top = 0, stepX = 0, stepY = 0;
    std::uint32_t columns = 0, lines = 0;
};

/// A digital elevation model of one or many files: the first band of each. All heights that it
/// gives are metres above the WGS 84 ellipsoid, whatever the files count from and in.
///
/// Between pixel centres heights are bilinear, over the seams of files with one grid as inside
/// them; where files of different grids meet, their edges are joined by a straight line. The outer
/// half of an edge pixel has that pixel's height. Where one of the four pixels around has no
/// height, and no other file has it, there is a hole: NaN, as outside. One thread at a time; more
/// of them share the files (another()).
class RF_PLATFORM_API ElevationModel {
public:
    /// @return null with a report that names the file when one cannot be opened, does not say
    ///         where it lies, or has heights in a system that cannot be converted: an unknown one,
    ///         or one whose grid PROJ does not find.
    static std::unique_ptr<ElevationModel> open(const ElevationSource& source, KERR_REPORT** slot);
    ~ElevationModel();
    ElevationModel(const ElevationModel&) = delete;
    ElevationModel& operator=(const ElevationModel&) = delete;

    /// @return the same model for another thread; null with a report when memory is short.
    std::unique_ptr<ElevationModel> another(KERR_REPORT** slot) const;

    /// @return what the user should know of it, a sentence; empty when there is nothing.
    const std::string& remarks() const;

    /// Sets heightM of every point from its x (longitude) and y (latitude), WGS 84, degrees.
    /// Exact, and made for points that lie close together.
    /// @return false with a report that names the file when it cannot be read.
    bool heightsAt(std::span<KxfrMapPoint> points, KERR_REPORT** slot) const;

    /// Longitude (-180..180), latitude (WGS 84, degrees) and height of each point of a block of a
    /// map's grid, line by line. Map projections and geoid are exact at few points and interpolated
    /// between them.
    /// @param map  of the map.
    /// @param accuracy  allowed to interpolated places, in steps of the grid; heights follow the
    ///        place, and the geoid is as near in m as a place is.
    /// @param nodes  columns * lines of them. A place without longitude and latitude is all NaN.
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
    /// @return the grid of the first file, for callers who want heights where the model has them;
    ///         it reaches over all files of the same grid. Its step is 0 where the file's grid is
    ///         turned against its map.
    Posts posts() const;

private:
    struct State;
    explicit ElevationModel(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace kimg
