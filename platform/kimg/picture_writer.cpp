// SPDX-License-Identifier: MIT
#include "kimg/picture_writer.h"

#include "kimg/dataset_session.h"
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

Dataset pictureInMemory(const Picture& picture, bool withPlace) {
    const int width = static_cast<int>(picture.width), height = static_cast<int>(picture.height);
    const int bands = static_cast<int>(picture.bands);
    Dataset made(
        GDALCreate(GDALGetDriverByName("MEM"), "", width, height, bands, GDT_Byte, nullptr));
    if (!made)
        return nullptr;
    if (withPlace) {
        setPlace(made.get(), picture.place);
        for (const auto& [name, text] : picture.items)
            GDALSetMetadataItem(made.get(), name.c_str(), text.c_str(), nullptr);
    }
    const auto written = GDALDatasetRasterIOEx(made.get(), GF_Write, 0, 0, width, height,
                                               const_cast<std::uint8_t*>(picture.samples.data()),
                                               width, height, GDT_Byte, bands, nullptr, bands,
                                               static_cast<GSpacing>(width) * bands, 1, nullptr);
    return written == CE_None ? std::move(made) : nullptr;
}

bool writeAs(const std::string& path, PictureFormat format, GDALDatasetH picture) {
    Options options;
    const char* driver = "PNG";
    if (format == PictureFormat::jpeg) {
        driver = "JPEG";
        options.set("QUALITY", "90");
    } else if (format == PictureFormat::tiff) {
        driver = "GTiff";
        options.set("COMPRESS", "DEFLATE");
    }
    return Dataset(GDALCreateCopy(GDALGetDriverByName(driver), path.c_str(), picture, FALSE,
                                  options.list(), nullptr, nullptr)) != nullptr;
}

std::uint32_t longestSide(PictureFormat format) {
    return format == PictureFormat::jpeg ? 65500 : 0x7fffffff;
}

} // namespace

bool writePicture(const std::string& path, PictureFormat format, const Picture& picture,
                  std::string& reason) {
    const std::uint32_t longest = longestSide(format);
    const bool opacityLost = format == PictureFormat::jpeg && picture.bands % 2 == 0;
    if (picture.width == 0 || picture.height == 0 || picture.width > longest ||
        picture.height > longest || picture.bands == 0 || picture.bands > 4 || opacityLost ||
        picture.samples.size() != std::size_t{picture.width} * picture.height * picture.bands) {
        reason = path + ": no picture of this kind has this size";
        return false;
    }
    registerDrivers();
    const ErrorCapture errors;
    const NoSideCars quiet;
    NewFile file(path);
    const Dataset inMemory = pictureInMemory(picture, format == PictureFormat::tiff);
    if (inMemory && writeAs(file.temporaryPath(), format, inMemory.get()) && file.putInPlace())
        return true;
    reason = file.told(errors.describe(path, "cannot be written"));
    return false;
}

} // namespace kimg
