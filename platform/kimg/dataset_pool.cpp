// SPDX-License-Identifier: MIT
#include "kimg/dataset_pool.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>
#include <gdal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <thread>
#include <vector>

namespace kimg {
namespace {

/// The waiting handles of all files, and the number of open ones. GDAL opens and closes files
/// outside the lock.
class DatasetPool {
public:
    /// The pool of this process. A forked process shares the file offsets of inherited handles, so
    /// it does not use them and starts with a new pool. Never destroyed: at process exit GDAL may
    /// already be gone, and after a fork another thread may have held the lock.
    static DatasetPool& instance();

    /// @return a waiting handle of the file, or null after making room for the caller to open one.
    std::unique_ptr<OpenImage> take(const ImageFile& file);
    /// Takes back a handle that may wait for its next use.
    void giveBack(std::unique_ptr<OpenImage> image);
    /// Frees the slot of a handle that was closed or never opened.
    void forget();
    void closeIdle(const std::string& path);

private:
    DatasetPool() { idle_.reserve(maxOpen); } // so that giving back never fails

    const pid_t process_ = getpid();

    struct Idle {
        std::thread::id user; // the last one
        std::unique_ptr<OpenImage> image;
    };
    static constexpr std::size_t maxOpen = 64;

    std::vector<Idle>::iterator findLocked(const ImageFile& file);

    std::mutex mutex_;
    std::vector<Idle> idle_; // longest waiting first
    std::size_t open_ = 0;   // waiting and lent
};

DatasetPool& DatasetPool::instance() {
    static std::atomic<DatasetPool*> pool = new DatasetPool;
    DatasetPool* current = pool;
    if (current->process_ == getpid())
        return *current;
    auto own = std::unique_ptr<DatasetPool>(new DatasetPool);
    return pool.compare_exchange_strong(current, own.get()) ? *own.release() : *current;
}

std::vector<DatasetPool::Idle>::iterator DatasetPool::findLocked(const ImageFile& file) {
    const auto self = std::this_thread::get_id();
    auto found = idle_.end();
    for (auto idle = idle_.end(); idle != idle_.begin();) {
        --idle;
        if (idle->user == self && idle->image->file == file)
            return idle;
        if (found == idle_.end() && idle->image->file == file)
            found = idle;
    }
    return found;
}

std::unique_ptr<OpenImage> DatasetPool::take(const ImageFile& file) {
    std::unique_ptr<OpenImage> closing; // after the lock is given up
    const std::lock_guard lock(mutex_);
    const auto found = findLocked(file);
    if (found != idle_.end()) {
        auto image = std::move(found->image);
        idle_.erase(found);
        return image;
    }
    ++open_;
    if (open_ > maxOpen && !idle_.empty()) {
        closing = std::move(idle_.front().image);
        idle_.erase(idle_.begin());
        --open_;
    }
    return nullptr;
}

void DatasetPool::giveBack(std::unique_ptr<OpenImage> image) {
    const std::lock_guard lock(mutex_); // given up before `image` closes
    if (open_ <= maxOpen)
        idle_.push_back({std::this_thread::get_id(), std::move(image)});
    else
        --open_;
}

void DatasetPool::forget() {
    const std::lock_guard lock(mutex_);
    --open_;
}

void DatasetPool::closeIdle(const std::string& path) {
    std::vector<Idle> closing; // after the lock is given up
    const std::lock_guard lock(mutex_);
    const auto others = std::stable_partition(idle_.begin(), idle_.end(), [&](const Idle& idle) {
        return idle.image->file.path != path;
    });
    closing.assign(std::make_move_iterator(others), std::make_move_iterator(idle_.end()));
    idle_.erase(others, idle_.end());
    open_ -= closing.size();
}

/// Refuses names that are no regular file: a fifo would block, and drivers interpret some names.
void requireFile(const ImageFile& file) {
    if (file == ImageFile{.path = file.path})
        throw ImageError(file.path + ": No such file or directory");
    if (!file.isRegularFile)
        throw ImageError(file.path + ": is not a file");
}

// Opened as if alone in its folder, because files beside an image may be anything and lead
// anywhere. Not listed among the host's open datasets, because a host may close all of those.
std::unique_ptr<OpenImage> openImage(const ImageFile& file) {
    constexpr unsigned flags =
        GDAL_OF_RASTER | GDAL_OF_READONLY | GDAL_OF_INTERNAL | GDAL_OF_VERBOSE_ERROR;
    const char* const alone[] = {CPLGetFilename(file.path.c_str()), nullptr};
    std::unique_ptr<void, decltype(&GDALClose)> dataset(
        GDALOpenEx(file.path.c_str(), flags, imageDrivers(), nullptr, alone), GDALClose);
    if (!dataset)
        return nullptr;
    auto image = std::make_unique<OpenImage>(dataset.get(), file);
    static_cast<void>(dataset.release()); // the image's now
    return image;
}

} // namespace

ImageFile imageFileNow(const std::string& path) {
    ImageFile file;
    file.path = path;
    const ErrorCapture quiet;
    VSIStatBufL state;
    if (VSIStatL(path.c_str(), &state) == 0) {
        file.modifiedS = state.st_mtim.tv_sec;
        file.modifiedNs = state.st_mtim.tv_nsec;
        file.size = state.st_size;
        file.inode = state.st_ino;
        file.device = state.st_dev;
        file.isRegularFile = VSI_ISREG(state.st_mode);
    }
    return file;
}

OpenImage::~OpenImage() {
    if (bytes_)
        VSIFCloseL(static_cast<VSILFILE*>(bytes_));
    GDALClose(dataset);
}

void* OpenImage::bytes() {
    if (!bytesTried_) {
        bytesTried_ = true;
        if (imageFileNow(file.path) == file) // else only the handle still has the file
            bytes_ = VSIFOpenL(file.path.c_str(), "rb");
    }
    return bytes_;
}

DatasetLease::DatasetLease(const ImageFile& file) : image_(DatasetPool::instance().take(file)) {
    if (image_)
        return;
    try {
        registerImageDrivers();
        requireFile(file);
        image_ = openImage(file);
        if (!image_)
            throw ImageError(errors_.describe(file.path, "cannot be opened"));
        if (imageFileNow(file.path) != file)
            throw ImageError(file.path + ": the file has changed since the layer was opened");
    } catch (...) {
        DatasetPool::instance().forget();
        throw;
    }
    errors_.clear();
}

DatasetLease::~DatasetLease() {
    if (reusable_)
        DatasetPool::instance().giveBack(std::move(image_));
    else
        DatasetPool::instance().forget();
}

void DatasetLease::fail(const char* reason) {
    reusable_ = false;
    throw ImageError(errors_.describe(image_->file.path, reason));
}

void closeIdleDatasets(const std::string& path) {
    const ErrorCapture quiet;
    DatasetPool::instance().closeIdle(path);
}

} // namespace kimg
