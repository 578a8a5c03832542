// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/gdal_session.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace kimg {

/// Identity and state of an image file; a rewritten or replaced file compares unequal.
struct ImageFile {
    std::int64_t modifiedS = 0; ///< all 0 when nothing of that name has a state
    std::int64_t modifiedNs = 0;
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    bool isRegularFile = false;
    std::string path; ///< UTF-8

    bool operator==(const ImageFile&) const = default;
};

/// @return the file as it is now.
ImageFile imageFileNow(const std::string& path);

/// One open handle of an image file.
struct OpenImage {
    OpenImage(void* gdalDataset, ImageFile imageFile)
        : dataset(gdalDataset), file(std::move(imageFile)) {}
    ~OpenImage();
    OpenImage(const OpenImage&) = delete;
    OpenImage& operator=(const OpenImage&) = delete;

    /// @return the file's own bytes (a VSILFILE*), opened at the first call; null when the name
    ///         does not, or no longer, lead to the file.
    void* bytes();

    void* const dataset; ///< a GDALDatasetH, never null
    const ImageFile file;

private:
    void* bytes_ = nullptr;
    bool bytesTried_ = false;
};

/// An open image lent to one thread for one call. Returned handles wait in a pool for the next
/// call, preferably of the same thread, whose blocks GDAL still caches. The pool bounds the number
/// of open handles (see kimg.h) by closing the one that has waited longest. While a lease lives,
/// this thread's GDAL errors are kept as the reason of a failure.
class DatasetLease {
public:
    /// @throws ImageError when the file cannot be opened or has changed.
    explicit DatasetLease(const ImageFile& file);
    ~DatasetLease();
    DatasetLease(const DatasetLease&) = delete;
    DatasetLease& operator=(const DatasetLease&) = delete;

    OpenImage& image() const { return *image_; }
    void* handle() const { return image_->dataset; } ///< a GDALDatasetH
    /// @return whether GDAL has reported a failure since the lease began, whatever its calls
    ///         returned.
    bool failed() const { return errors_.failed(); }
    /// Marks the handle for closing instead of reuse.
    /// @throws ImageError with GDAL's message, or else with the given reason.
    [[noreturn]] void fail(const char* reason = "cannot be read");

private:
    ErrorCapture errors_; // outlives the handle's closing
    std::unique_ptr<OpenImage> image_;
    bool reusable_ = true;
};

/// Closes the waiting handles of a file, whatever state of the file they show.
void closeIdleDatasets(const std::string& path);

} // namespace kimg
