#include "kimg/elevation.h"

#include "kerr/reported.h"
#include "kimg/gdal_session.h"
#include "kprj/kprj.h"

#include <gdal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace kimg {
namespace {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};

} // namespace

struct ElevationModel::State {
    std::string path;
    std::unique_ptr<void, DatasetCloser> dataset;
    GDALRasterBandH band = nullptr;
    int width = 0, height = 0;
    double noData = 0;
    int hasNoData = 0;
    double scale = 1, offset = 0;
    std::unique_ptr<KprjGeographicConverter> converter;
    KxfrXFormPtr transform;

    void readBand();
    bool locate(KERR_REPORT** slot);
    double heightAt(const KxfrPixel& pixel) const;
};

void ElevationModel::State::readBand() {
    band = GDALGetRasterBand(dataset.get(), 1);
    if (!band)
        throw ImageError(path + ": it holds no raster");
    width = GDALGetRasterBandXSize(band);
    height = GDALGetRasterBandYSize(band);
    noData = GDALGetRasterNoDataValue(band, &hasNoData);
    int given = 0;
    const double statedScale = GDALGetRasterScale(band, &given);
    if (given)
        scale = statedScale;
    const double statedOffset = GDALGetRasterOffset(band, &given);
    if (given)
        offset = statedOffset;
}

/// @return false with a report when the system cannot be understood.
bool ElevationModel::State::locate(KERR_REPORT** slot) {
    std::array<double, 6> geoTransform;
    const std::string wkt = wktOf(GDALGetSpatialRef(dataset.get()));
    if (GDALGetGeoTransform(dataset.get(), geoTransform.data()) != CE_None || wkt.empty())
        throw ImageError(path + ": it does not say where it lies");
    const KprjProjectionPtr projection(kprj_ProjectionFromText(wkt, slot));
    if (!projection)
        return false;
    const bool degrees = projection->isGeographic && projection->units == "degrees";
    converter = KprjGeographicConverter::create(*projection, slot);
    transform.reset(kxfr_XFormFromAffine(geoTransform, width, height,
                                         degrees ? KxfrMap::degrees : KxfrMap::plane, slot));
    return converter && transform;
}

double ElevationModel::State::heightAt(const KxfrPixel& pixel) const {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    // The outer half of an edge pixel has that pixel's height.
    if (!(pixel.sample >= -0.5 && pixel.sample <= width - 0.5 && pixel.line >= -0.5 &&
          pixel.line <= height - 0.5))
        return none;
    const double x = std::clamp(pixel.sample, 0.0, width - 1.0);
    const double y = std::clamp(pixel.line, 0.0, height - 1.0);
    const int column = std::min(static_cast<int>(x), std::max(width - 2, 0));
    const int line = std::min(static_cast<int>(y), std::max(height - 2, 0));
    const int columns = std::min(2, width), lines = std::min(2, height);
    double values[4] = {};
    if (GDALRasterIO(band, GF_Read, column, line, columns, lines, values, columns, lines,
                     GDT_Float64, 0, 0) != CE_None)
        throw ImageError("");
    const double u = x - column, v = y - line;
    double sum = 0;
    for (int j = 0; j < lines; ++j)
        for (int i = 0; i < columns; ++i) {
            const double value = values[j * columns + i];
            const double weight = (i == 0 ? 1 - u : u) * (j == 0 ? 1 - v : v);
            if (weight == 0)
                continue;
            if (hasNoData && value == noData)
                return none;
            sum += weight * value;
        }
    return sum * scale + offset;
}

ElevationModel::ElevationModel(std::unique_ptr<State> state) : state_(std::move(state)) {}

ElevationModel::~ElevationModel() = default;

std::unique_ptr<ElevationModel> ElevationModel::open(const std::string& path, KERR_REPORT** slot) {
    const char* const routine = __func__;
    return kerr::reported(routine, slot, [&]() -> std::unique_ptr<ElevationModel> {
        registerDrivers();
        const ErrorCapture errors;
        auto state = std::make_unique<State>();
        state->path = path;
        state->dataset.reset(GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR,
                                        elevationDrivers(), nullptr, nullptr));
        if (!state->dataset)
            throw ImageError(errors.describe(path, "cannot be opened"));
        state->readBand();
        if (!state->locate(slot)) {
            kerr::raise(slot, routine, path + ": its place cannot be understood");
            return nullptr;
        }
        return std::unique_ptr<ElevationModel>(new ElevationModel(std::move(state)));
    });
}

bool ElevationModel::heightsAt(std::span<KxfrMapPoint> points, KERR_REPORT** slot) const {
    return kerr::reported(__func__, slot, [&] {
        const ErrorCapture errors;
        std::vector<KxfrMapPoint> map(points.begin(), points.end());
        std::vector<KxfrPixel> pixels(points.size());
        if (map.empty())
            return true;
        state_->converter->fromGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
        state_->transform->mapToPixel(map, pixels);
        try {
            for (std::size_t i = 0; i < points.size(); ++i)
                points[i].heightM = state_->heightAt(pixels[i]);
        } catch (const ImageError&) {
            throw ImageError(errors.describe(state_->path, "cannot be read"));
        }
        return true;
    });
}

} // namespace kimg
