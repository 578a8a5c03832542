#pragma once

#include "kimg/gdal_session.h"

#include <cstdint>
#include <string>

namespace kimg {

/// One state of an image file: a file that was rewritten or replaced is another one.
struct ImageFile {
    std::int64_t modifiedS = 0; ///< all 0 when the name is nothing that has a state
    std::int64_t modifiedNs = 0;
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    std::string path; ///< UTF-8

    bool operator==(const ImageFile&) const = default;
};

/// @return the file as it is now.
ImageFile imageFileNow(const std::string& path);

/// An open GDAL dataset of a file, lent to one thread for one call. Handles that come back wait in
/// a pool for the next call; the pool keeps the number of open ones in bounds (see kimg.h) by
/// closing the one that has waited longest. While a lease lives, GDAL's errors go to errors().
class DatasetLease {
public:
    /// @throws ImageError when the file cannot be opened, or is not what it was.
    explicit DatasetLease(const ImageFile& file);
    ~DatasetLease();
    DatasetLease(const DatasetLease&) = delete;
    DatasetLease& operator=(const DatasetLease&) = delete;

    void* handle() const { return dataset_; } ///< a GDALDatasetH, never null
    /// @throws ImageError with what GDAL said; the handle is closed instead of being used again.
    [[noreturn]] void fail();

private:
    ErrorCapture errors_; // outlives the handle's closing
    const ImageFile& file_;
    void* dataset_;
    bool reusable_ = true;
};

/// Closes the waiting handles of a file.
void closeIdleDatasets(const ImageFile& file);

} // namespace kimg
