// SPDX-License-Identifier: MIT
#include "kimg/elevation_file.h"

#include "kimg/gdal_session.h"

#include <gdal.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>

namespace kimg {
namespace {

constexpr int mostIdle = 64; // of all files: folders may hold thousands of them
std::atomic<int> idleHandles = 0;
constexpr double none = std::numeric_limits<double>::quiet_NaN();

/// @return m; 0 when the text names no unit of length.
double unitNamed(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr double foot = 0.3048, surveyFoot = 1200.0 / 3937.0;
    for (const auto& [name, unit] : {std::pair{"m", 1.0},
                                     {"metre", 1.0},
                                     {"meter", 1.0},
                                     {"metres", 1.0},
                                     {"meters", 1.0},
                                     {"ft", foot},
                                     {"foot", foot},
                                     {"feet", foot},
                                     {"us-ft", surveyFoot},
                                     {"ftus", surveyFoot},
                                     {"us survey foot", surveyFoot},
                                     {"cm", 0.01},
                                     {"km", 1000.0}})
        if (text == name)
            return unit;
    return 0;
}

} // namespace

void ElevationFile::DatasetCloser::operator()(void* dataset) const {
    GDALClose(dataset);
}

ElevationFile::ElevationFile(const std::string& path) : path_(path) {
    DatasetPtr dataset = openDataset();
    readBand(dataset.get());
    system_ = wktOf(GDALGetSpatialRef(dataset.get()));
    if (GDALGetGeoTransform(dataset.get(), geoTransform_.data()) != CE_None || system_.empty())
        throw ImageError(path_ + ": it does not say where it lies");
    kerr::Slot slot;
    heights_ = kprj_HeightSystemOf(system_, slot);
    if (slot.get())
        throw ImageError(path_ +
                         ": its coordinate system cannot be read: " + kerr_Text(slot.get()));
    const bool stated = heights_.kind != KprjHeightSystem::Kind::unstated;
    if (stated && bandUnit_ != 0 && std::abs(bandUnit_ / std::abs(heights_.unitSize) - 1) > 1e-5)
        throw ImageError(path_ + ": its heights are in one unit by its coordinate system and in "
                                 "another by its band");
    if (!stated && bandUnit_ != 0)
        heights_.unitSize = bandUnit_;
    keep(std::move(dataset));
}

ElevationFile::~ElevationFile() {
    idleHandles -= static_cast<int>(idle_.size());
}

ElevationFile::DatasetPtr ElevationFile::openDataset() const {
    const ErrorCapture errors;
    DatasetPtr dataset(GDALOpenEx(path_.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR,
                                  elevationDrivers(), nullptr, nullptr));
    if (!dataset)
        throw ImageError(errors.describe(path_, "cannot be opened"));
    return dataset;
}

ElevationFile::DatasetPtr ElevationFile::takeDataset() const {
    {
        const std::lock_guard lock(idleMutex_);
        if (!idle_.empty()) {
            DatasetPtr dataset = std::move(idle_.back());
            idle_.pop_back();
            --idleHandles;
            return dataset;
        }
    }
    return openDataset();
}

void ElevationFile::keep(DatasetPtr dataset) const {
    if (++idleHandles > mostIdle) {
        --idleHandles;
        return;
    }
    const std::lock_guard lock(idleMutex_);
    idle_.push_back(std::move(dataset));
}

void ElevationFile::readBand(void* dataset) {
    const GDALRasterBandH band = GDALGetRasterBand(dataset, 1);
    if (!band)
        throw ImageError(path_ + ": it holds no raster");
    width_ = GDALGetRasterBandXSize(band);
    height_ = GDALGetRasterBandYSize(band);
    noData_ = GDALGetRasterNoDataValue(band, &hasNoData_);
    int given = 0;
    if (const double stated = GDALGetRasterScale(band, &given); given)
        scale_ = stated;
    if (const double stated = GDALGetRasterOffset(band, &given); given)
        offset_ = stated;
    if (const char* unit = GDALGetRasterUnitType(band); unit && *unit) {
        bandUnit_ = unitNamed(unit);
        if (bandUnit_ == 0)
            throw ImageError(path_ + ": its heights are in the unknown unit \"" + unit + "\"");
    }
}

void ElevationFile::countFrom(KprjHeightSystem::Kind kind) {
    heights_.kind = kind;
    heights_.unitSize = bandUnit_ != 0 ? bandUnit_ : std::abs(heights_.unitSize);
}

void ElevationFile::addTo(int column, int line, int columns, int lines, double* values,
                          std::size_t stride) const {
    DatasetPtr dataset = takeDataset();
    const ErrorCapture errors;
    std::vector<double> read(static_cast<std::size_t>(columns) * static_cast<std::size_t>(lines));
    if (GDALRasterIO(GDALGetRasterBand(dataset.get(), 1), GF_Read, column, line, columns, lines,
                     read.data(), columns, lines, GDT_Float64, 0, 0) != CE_None)
        throw ImageError(errors.describe(path_, "cannot be read"));
    const double unit = scale_ * heights_.unitSize, zero = offset_ * heights_.unitSize;
    const double* from = read.data();
    for (int y = 0; y < lines; ++y, from += columns) {
        double* to = values + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < columns; ++x) {
            const bool isNone = (hasNoData_ && from[x] == noData_) || !std::isfinite(from[x]);
            if (std::isnan(to[x]) || to[x] == outsideAllFiles)
                to[x] = isNone ? none : from[x] * unit + zero;
        }
    }
    const std::lock_guard lock(idleMutex_);
    if (idle_.size() < mostIdle)
        idle_.push_back(std::move(dataset));
}

} // namespace kimg
