#include "kimg/png_writer.h"

#include "kimg/gdal_session.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>
#include <gdal.h>

#include <atomic>
#include <memory>
#include <optional>

#include <unistd.h>

namespace kimg {
namespace {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, DatasetCloser>;

/// Keeps GDAL from writing metadata files beside the picture, on this thread.
class NoSideCars {
public:
    NoSideCars() {
        if (const char* before = CPLGetThreadLocalConfigOption(option, nullptr))
            before_ = before;
        CPLSetThreadLocalConfigOption(option, "NO");
    }
    ~NoSideCars() { CPLSetThreadLocalConfigOption(option, before_ ? before_->c_str() : nullptr); }
    NoSideCars(const NoSideCars&) = delete;
    NoSideCars& operator=(const NoSideCars&) = delete;

private:
    static constexpr const char* option = "GDAL_PAM_ENABLED";
    std::optional<std::string> before_;
};

std::string temporaryNameBeside(const std::string& path) {
    static std::atomic<unsigned> count{0};
    return path + ".part-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

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
    const std::string temporary = temporaryNameBeside(path);
    const Dataset picture = pictureInMemory(samples, static_cast<int>(width),
                                            static_cast<int>(height), static_cast<int>(bands));
    if (picture && writeAs(temporary, picture.get()) &&
        VSIRename(temporary.c_str(), path.c_str()) == 0)
        return true;
    reason = errors.describe(path, "cannot be written");
    VSIUnlink(temporary.c_str());
    return false;
}

} // namespace kimg
