// SPDX-License-Identifier: MIT
#include "map_view.h"

#include "product/place/map_frame.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace rf_sar_gdal {
namespace {

constexpr int blockSide = 256;

/// The value outside the image: 0, which magnitudes and complex samples hardly ever have; NaN for
/// powers. Phases use every number, so for them 0 is not marked as no-data.
double besideImage(GDALDataType type) {
    return type == GDT_Float32 ? std::numeric_limits<double>::quiet_NaN() : 0;
}

/// A rectangle of the map in its pixels, and the number of points requested in it.
struct Part {
    double left, top, width, height;
    int columns, lines;
    bool operator==(const Part&) const = default;
};

class MapView final : public WithGeoTransform<GDALDataset> {
public:
    MapView(std::unique_ptr<SarDataset> shown, product::MapPositions positions);

    const OGRSpatialReference* GetSpatialRef() const override { return &system_; }
    char** GetFileList() override { return shown_->GetFileList(); }
    MetadataList GetMetadata(const char* domain) override {
        return isRpc(domain) ? nullptr : shown_->GetMetadata(domain);
    }
    const char* GetMetadataItem(const char* name, const char* domain) override {
        return isRpc(domain) ? nullptr : shown_->GetMetadataItem(name, domain);
    }

    /// Fills a part's points with a band's samples, line by line without gaps.
    CPLErr draw(GDALRasterBand& band, const Part& part, GDALDataType type, void* samples);

private:
    bool copyGeoTransform(double* transform) const override {
        std::copy_n(frame_.geoTransform().data(), 6, transform);
        return true;
    }
    static bool isRpc(const char* domain) { return domain && EQUAL(domain, "RPC"); }
    const std::vector<KxfrPixel>& positionsOf(const Part& part);

    std::unique_ptr<SarDataset> shown_;
    product::MapPositions positions_;
    product::MapFrame frame_;
    OGRSpatialReference system_;
    std::optional<Part> lastPart_; ///< whose positions are known: bands are read one by one
    std::vector<KxfrPixel> lastPositions_;
};

/// Everything except the pixels comes from the band that it shows.
class MapBand final : public GDALRasterBand {
public:
    MapBand(MapView& map, GDALRasterBand& shown) : map_(map), shown_(shown) {
        eDataType = shown.GetRasterDataType();
        nBlockXSize = nBlockYSize = blockSide;
        SetDescription(shown.GetDescription());
    }

    char** GetMetadataDomainList() override { return shown_.GetMetadataDomainList(); }
    MetadataList GetMetadata(const char* domain) override { return shown_.GetMetadata(domain); }
    const char* GetMetadataItem(const char* name, const char* domain) override {
        return shown_.GetMetadataItem(name, domain);
    }
    const char* GetUnitType() override { return shown_.GetUnitType(); }
    double GetMinimum(int* known) override { return shown_.GetMinimum(known); }
    double GetMaximum(int* known) override { return shown_.GetMaximum(known); }
    GDALColorInterp GetColorInterpretation() override { return shown_.GetColorInterpretation(); }
    double GetNoDataValue(int* has) override {
        if (has)
            *has = eDataType == GDT_Int16 ? FALSE : TRUE;
        return besideImage(eDataType);
    }

protected:
    CPLErr IReadBlock(int column, int row, void* samples) override {
        const Part block{double(column) * blockSide,
                         double(row) * blockSide,
                         blockSide,
                         blockSide,
                         blockSide,
                         blockSide};
        return map_.draw(shown_, block, eDataType, samples);
    }

    /// Pictures of a whole scene request few pixels: only these are looked up.
    CPLErr IRasterIO(GDALRWFlag flag, int x, int y, int width, int height, void* buffer,
                     int bufferWidth, int bufferHeight, GDALDataType bufferType,
                     GSpacing pixelSpace, GSpacing lineSpace,
                     GDALRasterIOExtraArg* extra) override {
        const bool picks = flag == GF_Read && extra->eResampleAlg == GRIORA_NearestNeighbour &&
                           (bufferWidth < width || bufferHeight < height);
        if (!picks)
            return GDALRasterBand::IRasterIO(flag, x, y, width, height, buffer, bufferWidth,
                                             bufferHeight, bufferType, pixelSpace, lineSpace,
                                             extra);
        std::vector<std::byte> line(static_cast<std::size_t>(bufferWidth) *
                                    static_cast<std::size_t>(GDALGetDataTypeSizeBytes(eDataType)) *
                                    blockSide);
        const double step = double(height) / bufferHeight;
        for (int done = 0; done < bufferHeight; done += blockSide) {
            const int lines = std::min(blockSide, bufferHeight - done);
            const Part part{double(x),    y + done * step, double(width),
                            lines * step, bufferWidth,     lines};
            if (map_.draw(shown_, part, eDataType, line.data()) != CE_None)
                return CE_Failure;
            const int size = GDALGetDataTypeSizeBytes(eDataType);
            for (int i = 0; i < lines; ++i)
                GDALCopyWords64(
                    line.data() + std::size_t(i) * std::size_t(bufferWidth) * std::size_t(size),
                    eDataType, size, static_cast<std::byte*>(buffer) + (done + i) * lineSpace,
                    bufferType, static_cast<int>(pixelSpace), bufferWidth);
        }
        return CE_None;
    }

private:
    MapView& map_;
    GDALRasterBand& shown_;
};

MapView::MapView(std::unique_ptr<SarDataset> shown, product::MapPositions positions)
    : shown_(std::move(shown)), positions_(std::move(positions)), frame_(positions_.frameOf()) {
    SetDescription(shown_->GetDescription());
    nRasterXSize = static_cast<int>(frame_.width);
    nRasterYSize = static_cast<int>(frame_.height);
    system_.importFromWkt(frame_.wkt.c_str());
    system_.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    for (int i = 1; i <= shown_->GetRasterCount(); ++i)
        SetBand(i, new MapBand(*this, *shown_->GetRasterBand(i)));
}

const std::vector<KxfrPixel>& MapView::positionsOf(const Part& part) {
    if (lastPart_ == part)
        return lastPositions_;
    lastPart_.reset();
    const double stepX = part.width / part.columns, stepY = part.height / part.lines;
    const kimg::MapBlock block{frame_.left + (part.left + 0.5 * stepX) * frame_.step,
                               frame_.top - (part.top + 0.5 * stepY) * frame_.step,
                               stepX * frame_.step,
                               -stepY * frame_.step,
                               static_cast<std::uint32_t>(part.columns),
                               static_cast<std::uint32_t>(part.lines)};
    positions_.find(block, std::max(1.0, std::min(stepX, stepY) * frame_.reduction),
                    lastPositions_);
    lastPart_ = part;
    return lastPositions_;
}

/// Reads the image as one rectangle around the request, reduced to about as many pixels as the
/// request has points: no more than a block's, however much of the image it spans.
CPLErr MapView::draw(GDALRasterBand& band, const Part& part, GDALDataType type, void* samples) {
    try {
        const std::vector<KxfrPixel>& positions = positionsOf(part);
        const int width = band.GetXSize(), height = band.GetYSize();
        const auto inside = [&](const KxfrPixel& p) {
            return p.sample >= -0.5 && p.line >= -0.5 && p.sample < width - 0.5 &&
                   p.line < height - 0.5;
        };
        const auto size = static_cast<std::size_t>(GDALGetDataTypeSizeBytes(type));
        const double beside = besideImage(type);
        GDALCopyWords64(&beside, GDT_Float64, 0, samples, type, static_cast<int>(size),
                        static_cast<GPtrDiff_t>(positions.size()));
        int left = width, right = -1, top = height, bottom = -1;
        for (const KxfrPixel& p : positions)
            if (inside(p)) {
                const int column = static_cast<int>(std::floor(p.sample + 0.5));
                const int line = static_cast<int>(std::floor(p.line + 0.5));
                left = std::min(left, column);
                right = std::max(right, column);
                top = std::min(top, line);
                bottom = std::max(bottom, line);
            }
        if (right < left)
            return CE_None;
        const int spanX = right - left + 1, spanY = bottom - top + 1;
        constexpr double mostPixels = 1 << 22;
        const double shrink = std::max(1.0, std::sqrt(double(spanX) * spanY / mostPixels));
        const int readX = std::max(1, static_cast<int>(spanX / shrink));
        const int readY = std::max(1, static_cast<int>(spanY / shrink));
        std::vector<std::byte> read(std::size_t(readX) * std::size_t(readY) * size);
        if (band.RasterIO(GF_Read, left, top, spanX, spanY, read.data(), readX, readY, type, 0, 0,
                          nullptr) != CE_None)
            return CE_Failure;
        auto* to = static_cast<std::byte*>(samples);
        for (std::size_t i = 0; i < positions.size(); ++i) {
            if (!inside(positions[i]))
                continue;
            const double x = std::floor(positions[i].sample + 0.5) - left;
            const double y = std::floor(positions[i].line + 0.5) - top;
            const auto column = static_cast<std::size_t>((x + 0.5) * readX / spanX);
            const auto line = static_cast<std::size_t>((y + 0.5) * readY / spanY);
            std::memcpy(to + i * size, &read[(line * std::size_t(readX) + column) * size], size);
        }
        return CE_None;
    } catch (const std::exception& error) {
        CPLError(CE_Failure, CPLE_AppDefined, "%s: %s", shown_->GetDescription(), error.what());
        return CE_Failure;
    }
}

void warn(const SarDataset& opened, const std::string& text) {
    if (!text.empty())
        CPLError(CE_Warning, CPLE_AppDefined, "%s: %s", opened.GetDescription(), text.c_str());
}

/// Tie points are in systems that have a code.
std::string codeOf(const OGRSpatialReference* system) {
    const char* code = system ? system->GetAuthorityCode(nullptr) : nullptr;
    return std::string("EPSG:") + (code ? code : "4326");
}

} // namespace

std::unique_ptr<GDALDataset> onTheMap(std::unique_ptr<SarDataset> opened,
                                      const kimg::ElevationSource& elevation) {
    std::array<double, 6> transform{};
    if (opened->GetRasterCount() == 0 ||
        GDALGetGeoTransform(opened.get(), transform.data()) == CE_None)
        return opened;
    const std::string name = opened->GetDescription();
    try {
        const auto place = opened->place();
        if (!place || !place->transform || !place->projection)
            throw loader::Error(
                "its place on the map is not known" +
                (place && !place->remarks.empty() ? " (" + place->remarks + ")" : ""));
        warn(*opened, place->remarks);
        if (!elevation.paths.empty() && !place->usesHeight())
            warn(*opened, "heights are ignored: what places the image has none");
        product::MapPositions positions(place, static_cast<std::uint32_t>(opened->GetRasterXSize()),
                                        static_cast<std::uint32_t>(opened->GetRasterYSize()),
                                        {codeOf(opened->GetGCPSpatialRef()), 0, elevation, true});
        if (positions.elevation())
            warn(*opened, positions.elevation()->remarks());
        return std::make_unique<MapView>(std::move(opened), std::move(positions));
    } catch (const loader::Error& error) {
        throw loader::Error(name + ": " + error.what());
    }
}

} // namespace rf_sar_gdal
