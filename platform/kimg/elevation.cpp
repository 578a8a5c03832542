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
    std::unique_ptr<KprjGeographicConverter> converter; ///< null: the model is on WGS 84
    KxfrXFormPtr transform;

    void readBand();
    bool locate(KERR_REPORT** slot);
    /// A rectangle of the model in memory; batches of points that lie close read it once.
    struct Window {
        int column = 0, line = 0, columns = 0, lines = 0;
        std::vector<double> values;
    };
    bool contains(const KxfrPixel& pixel) const;
    Window windowOf(const KxfrPixel* pixels, std::size_t count) const;
    double heightAt(const KxfrPixel& pixel, const Window& window) const;
    void setHeights(const KxfrPixel* pixels, KxfrMapPoint* points, std::size_t count) const;
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
    const bool isWgs84 = projection->authority == "EPSG:4326";
    if (!isWgs84)
        converter = KprjGeographicConverter::create(*projection, slot);
    transform.reset(kxfr_XFormFromAffine(geoTransform, width, height,
                                         degrees ? KxfrMap::degrees : KxfrMap::plane, slot));
    return (isWgs84 || converter) && transform;
}

/// The outer half of an edge pixel has that pixel's height.
bool ElevationModel::State::contains(const KxfrPixel& pixel) const {
    return pixel.sample >= -0.5 && pixel.sample <= width - 0.5 && pixel.line >= -0.5 &&
           pixel.line <= height - 0.5;
}

/// The rectangle that the points need; not read. Empty when none lies in the model.
ElevationModel::State::Window ElevationModel::State::windowOf(const KxfrPixel* pixels,
                                                              std::size_t count) const {
    double left = width, right = -1, top = height, bottom = -1;
    for (const KxfrPixel* pixel = pixels; pixel != pixels + count; ++pixel)
        if (contains(*pixel)) {
            left = std::min(left, pixel->sample);
            right = std::max(right, pixel->sample);
            top = std::min(top, pixel->line);
            bottom = std::max(bottom, pixel->line);
        }
    Window window;
    if (right < left)
        return window;
    window.column = std::clamp(static_cast<int>(std::floor(left)), 0, width - 1);
    window.line = std::clamp(static_cast<int>(std::floor(top)), 0, height - 1);
    window.columns = std::clamp(static_cast<int>(right) + 1, 0, width - 1) - window.column + 1;
    window.lines = std::clamp(static_cast<int>(bottom) + 1, 0, height - 1) - window.line + 1;
    return window;
}

double ElevationModel::State::heightAt(const KxfrPixel& pixel, const Window& window) const {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    if (!contains(pixel))
        return none;
    const double x = std::clamp(pixel.sample, 0.0, width - 1.0);
    const double y = std::clamp(pixel.line, 0.0, height - 1.0);
    const int column = std::min(static_cast<int>(x), std::max(width - 2, 0));
    const int line = std::min(static_cast<int>(y), std::max(height - 2, 0));
    const double u = x - column, v = y - line;
    double sum = 0;
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 2; ++i) {
            const double weight = (i == 0 ? 1 - u : u) * (j == 0 ? 1 - v : v);
            if (weight == 0)
                continue;
            const double value =
                window.values[static_cast<std::size_t>(line + j - window.line) *
                                  static_cast<std::size_t>(window.columns) +
                              static_cast<std::size_t>(column + i - window.column)];
            if ((hasNoData && value == noData) || std::isnan(value))
                return none;
            sum += weight * value;
        }
    return sum * scale + offset;
}

/// Halves what spreads too far to be read at once.
void ElevationModel::State::setHeights(const KxfrPixel* pixels, KxfrMapPoint* points,
                                       std::size_t count) const {
    Window window = windowOf(pixels, count);
    const std::size_t cells =
        static_cast<std::size_t>(window.columns) * static_cast<std::size_t>(window.lines);
    if (count > 1 && cells > std::max<std::size_t>(1 << 12, 4 * count)) {
        setHeights(pixels, points, count / 2);
        setHeights(pixels + count / 2, points + count / 2, count - count / 2);
        return;
    }
    window.values.resize(cells);
    if (cells > 0 && GDALRasterIO(band, GF_Read, window.column, window.line, window.columns,
                                  window.lines, window.values.data(), window.columns, window.lines,
                                  GDT_Float64, 0, 0) != CE_None)
        throw ImageError("");
    for (std::size_t i = 0; i < count; ++i)
        points[i].heightM = heightAt(pixels[i], window);
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
        if (state_->converter)
            state_->converter->fromGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
        state_->transform->mapToPixel(map, pixels);
        try {
            state_->setHeights(pixels.data(), points.data(), points.size());
        } catch (const ImageError&) {
            throw ImageError(errors.describe(state_->path, "cannot be read"));
        }
        return true;
    });
}

} // namespace kimg
