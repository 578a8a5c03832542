// SPDX-License-Identifier: MIT
#include "kimg/elevation.h"

#include "support/temporary_folder.h"

#include <gdal.h>
#include <gmock/gmock.h>
#include <ogr_srs_api.h>

#include <cmath>
#include <functional>

namespace {

using testing::HasSubstr;

/// A model of heights as a function of its map's coordinates.
struct Made {
    std::string system;
    double left, top, step; ///< outer corner of the first pixel
    int width, height;
    std::function<double(double, double)> heightAt;
};

std::string write(const support::TemporaryFolder& folder, const std::string& name,
                  const Made& made) {
    GDALAllRegister();
    const std::string path = folder / name;
    GDALDatasetH file = GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), made.width,
                                   made.height, 1, GDT_Float64, nullptr);
    double transform[] = {made.left, made.step, 0, made.top, 0, -made.step};
    GDALSetGeoTransform(file, transform);
    OGRSpatialReferenceH system = OSRNewSpatialReference(nullptr);
    OSRSetFromUserInput(system, made.system.c_str());
    GDALSetSpatialRef(file, system);
    OSRDestroySpatialReference(system);
    std::vector<double> line(static_cast<std::size_t>(made.width));
    for (int y = 0; y < made.height; ++y) {
        for (int x = 0; x < made.width; ++x)
            line[static_cast<std::size_t>(x)] =
                made.heightAt(made.left + (x + 0.5) * made.step, made.top - (y + 0.5) * made.step);
        EXPECT_EQ(GDALRasterIO(GDALGetRasterBand(file, 1), GF_Write, 0, y, made.width, 1,
                               line.data(), made.width, 1, GDT_Float64, 0, 0),
                  CE_None);
    }
    GDALClose(file);
    return path;
}

std::unique_ptr<kimg::ElevationModel> opened(const kimg::ElevationSource& source) {
    kerr::Slot slot;
    auto model = kimg::ElevationModel::open(source, slot);
    EXPECT_TRUE(model) << kerr_Text(slot.get());
    return model;
}

double wave(double x, double y) {
    return 500 + 300 * std::sin(x) * std::cos(1.3 * y);
}

double metres(const KxfrMapPoint& a, const KxfrMapPoint& b) {
    constexpr double degree = 0.017453292519943295, radius = 6378137;
    const double east = std::remainder(a.x - b.x, 360.0) * std::cos(b.y * degree);
    return radius * degree * std::hypot(east, a.y - b.y);
}

} // namespace

/// Every node of a block against PROJ and the model asked point by point: over a pole, across the
/// antimeridian, from one UTM zone to another; heights above a geoid, in one file or two.
TEST(Elevation, NodesOfAMapAreExactOnEveryPoint) {
    const support::TemporaryFolder folder;
    const auto degrees = [](double x, double y) { return wave(20 * x, 20 * y); };
    const auto plane = [](double x, double y) { return wave(x / 2000, y / 2000); };
    struct Case {
        const char* map;
        kimg::MapBlock block;
        std::vector<Made> files;
    } cases[] = {
        {"EPSG:32633",
         {240e3, 5340e3, 10, -10, 301, 200},
         {{"EPSG:32632+5773", 685500, 5338000, 30, 150, 100, plane}}},
        {"EPSG:5041",
         {1999e3, 2001.5e3, 10, -10, 200, 300},
         {{"EPSG:4326+5773", -180, 90, 0.01, 36000, 6, degrees}}},
        {"EPSG:5041",
         {1399e3, 2001.5e3, 10, -10, 200, 300},
         {{"EPSG:4979", -93, 85.5, 0.001, 6000, 2000, degrees}}},
        {"EPSG:4326",
         {179.99, 10, 1e-4, -1e-4, 300, 200},
         {{"EPSG:4326+5773", 179, 10.1, 0.001, 1000, 200, degrees},
          {"EPSG:4326+5773", -180, 10.1, 0.001, 500, 200, degrees}}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.map);
        kimg::ElevationSource source;
        for (const Made& file : each.files)
            source.paths.push_back(
                write(folder, std::to_string(source.paths.size()) + ".tif", file));
        const auto model = opened(source);
        ASSERT_TRUE(model);
        kerr::Slot slot;
        const KprjProjectionPtr projection(kprj_ProjectionFromText(each.map, slot));
        const auto converter = KprjGeographicConverter::create(*projection, slot);
        const std::size_t count = std::size_t{each.block.columns} * each.block.lines;
        std::vector<KxfrMapPoint> nodes(count), exact;
        ASSERT_TRUE(model->nodesOf(*converter, each.block, 5e-4, nodes, slot))
            << kerr_Text(slot.get());
        for (std::uint32_t y = 0; y < each.block.lines; ++y)
            for (std::uint32_t x = 0; x < each.block.columns; ++x)
                exact.push_back({each.block.left + x * each.block.stepX,
                                 each.block.top + y * each.block.stepY, 0});
        converter->toGeographic(&exact[0].x, &exact[0].y, sizeof exact[0], count);
        ASSERT_TRUE(model->heightsAt(exact, slot)) << kerr_Text(slot.get());
        const double stepM = std::string(each.map) == "EPSG:4326" ? 10.9 : 10;
        double worst = 0, worstHeight = 0;
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_FALSE(std::isnan(exact[i].heightM)) << i;
            worst = std::max(worst, metres(nodes[i], exact[i]));
            worstHeight = std::max(worstHeight, std::abs(nodes[i].heightM - exact[i].heightM));
        }
        EXPECT_LT(worst, 1e-3 * stepM);
        EXPECT_LT(worstHeight, 1e-3 * stepM);
    }
}

/// A plane in several files is the plane, over seams of one grid and of two, and past no edge.
TEST(Elevation, SeamsShowNoStep) {
    const support::TemporaryFolder folder;
    const auto plane = [](double x, double y) { return 1000 * (x - 11) + 700 * (y - 48); };
    const auto file = [&](const char* name, double left, double top, double step, int width,
                          int height) {
        return write(folder, name, {"EPSG:4979", left, top, step, width, height, plane});
    };
    const std::string west = file("w.tif", 11, 48, 1e-3, 100, 100),
                      east = file("e.tif", 11.1, 48, 1e-3, 100, 100),
                      coarse = file("c.tif", 11, 47.9, 2e-3, 100, 50);
    const auto model = opened({{west, east, coarse}});
    ASSERT_TRUE(model);
    std::vector<KxfrMapPoint> points;
    for (int i = 0; i < 4000; ++i) {
        points.push_back({11.095 + i * 2.5e-6, 47.95 + i * 1e-6, 0}); // over the first seam
        points.push_back({11.05 + i * 1e-6, 47.905 - i * 2.5e-6, 0}); // over the second
    }
    kerr::Slot slot;
    ASSERT_TRUE(model->heightsAt(points, slot)) << kerr_Text(slot.get());
    for (const KxfrMapPoint& point : points)
        ASSERT_NEAR(point.heightM, plane(point.x, point.y), 1e-6) << point.x << ' ' << point.y;
    std::vector<KxfrMapPoint> outside = {{10.9999, 47.95, 0}, {11.05, 47.7999, 0}};
    ASSERT_TRUE(model->heightsAt(outside, slot));
    for (const KxfrMapPoint& point : outside)
        EXPECT_TRUE(std::isnan(point.heightM));
}

/// A mosaic of 5e11 pixels: memory goes by the places that are asked for, not by what lies between.
TEST(Elevation, PlacesFarApartAreReadAlone) {
    const support::TemporaryFolder folder;
    const std::string file =
        folder.write("mosaic.vrt", "<VRTDataset rasterXSize='1000000' rasterYSize='500000'>"
                                   "<SRS>EPSG:4979</SRS>"
                                   "<GeoTransform>-150, 3e-4, 0, 75, 0, -3e-4</GeoTransform>"
                                   "<VRTRasterBand dataType='Float32' band='1'/></VRTDataset>");
    const auto model = opened({.paths = {file}, .heights = "ellipsoid"});
    ASSERT_TRUE(model);
    std::vector<KxfrMapPoint> points;
    for (const double lon : {-149.0, 7.5, 149.0})
        for (const double lat : {-74.0, 0.1, 74.0})
            points.push_back({lon, lat, 9});
    kerr::Slot slot;
    EXPECT_TRUE(model->heightsAt(points, slot)) << kerr_Text(slot.get());
    for (const KxfrMapPoint& point : points)
        EXPECT_EQ(point.heightM, 0);
}

TEST(Elevation, UnitsAreConvertedAndHolesAreFilledByTheNextFileOnly) {
    const support::TemporaryFolder folder;
    const auto flat = [](double height) { return [height](double, double) { return height; }; };
    const std::string feet = write(folder, "ft.tif",
                                   {"EPSG:4326", 11, 48, 0.01, 20, 20,
                                    [](double x, double) { return x < 11.1 ? 1000 : -9999; }});
    GDALDatasetH file = GDALOpen(feet.c_str(), GA_Update);
    GDALSetRasterUnitType(GDALGetRasterBand(file, 1), "ft");
    GDALSetRasterNoDataValue(GDALGetRasterBand(file, 1), -9999);
    GDALClose(file);
    const std::string metresFile =
        write(folder, "m.tif", {"EPSG:4979", 11.15, 48, 0.01, 20, 20, flat(50)});
    const auto model = opened({{feet, metresFile}});
    ASSERT_TRUE(model);
    EXPECT_THAT(model->remarks(), HasSubstr("ft.tif: does not say from what its heights count"));
    std::vector<KxfrMapPoint> points = {{11.05, 47.9, 0}, {11.12, 47.9, 0}, {11.18, 47.9, 0}};
    kerr::Slot slot;
    ASSERT_TRUE(model->heightsAt(points, slot));
    EXPECT_NEAR(points[0].heightM, 304.8, 1e-9);
    EXPECT_TRUE(std::isnan(points[1].heightM));
    EXPECT_NEAR(points[2].heightM, 50, 1e-9);
    const auto posts = model->posts();
    EXPECT_NEAR(posts.block.left, 11.005, 1e-12);
    EXPECT_EQ(posts.block.columns, 20U);
}
