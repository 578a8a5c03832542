#include "kimg/png_writer.h"

#include "kimg/gdal_session.h"
#include "kimg/new_file.h"

#include <gdal.h>

#include <memory>

namespace kimg {
namespace {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, DatasetCloser>;

Dataset pictureInMemory(const std::uint8_t* samples, int width, int height, int bands) {
    Dataset picture(
        GDALCreate(GDALGetDriverByName("MEM"), "", width, height, bands, GDT_Byte, nullptr));
    if (!picture)
        return nullptr;
    const auto written = GDALDatasetRasterIOEx(
        picture.get(), GF_Write, 0, 0, width, height, const_cast<std::uint8_t*>(samples), width,
        height, GDT_Byte, bands, nullptr, bands, static_cast<GSpacing>(width) * bands, 1, nullptr);
    return written == CE_None ? std::move(picture) : nullptr;
}

bool writeAs(const std::string& path, GDALDatasetH picture) {
    return Dataset(GDALCreateCopy(GDALGetDriverByName("PNG"), path.c_str(), picture, FALSE, nullptr,
                                  nullptr, nullptr)) != nullptr;
}

} // namespace

bool writePng(const std::string& path, const std::uint8_t* samples, std::uint32_t width,
              std::uint32_t height, std::uint32_t bands, std::string& reason) {
    constexpr std::uint32_t longestSide = 0x7fffffff;
    if (width == 0 || height == 0 || width > longestSide || height > longestSide || bands == 0 ||
        bands > 4) {
        reason = path + ": no PNG has this size";
        return false;
    }
    registerDrivers();
    const ErrorCapture errors;
    const NoSideCars quiet;
    NewFile file(path);
    const Dataset picture = pictureInMemory(samples, static_cast<int>(width),
                                            static_cast<int>(height), static_cast<int>(bands));
    if (picture && writeAs(file.temporaryPath(), picture.get()) && file.putInPlace())
        return true;
    reason = errors.describe(path, "cannot be written");
    return false;
}

} // namespace kimg
