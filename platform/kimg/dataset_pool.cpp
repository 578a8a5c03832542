#include "kimg/dataset_pool.h"

#include <cpl_vsi.h>
#include <gdal.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace kimg {
namespace {

/// The waiting handles of all files and the count of open ones. GDAL opens and closes outside the
/// lock.
class DatasetPool {
public:
    /// Never destroyed: at process exit GDAL may be gone before us.
    static DatasetPool& instance() {
        static auto* pool = new DatasetPool;
        return *pool;
    }

    /// @return a waiting handle of the file, or null after making room for the caller to open one.
    GDALDatasetH take(const ImageFile& file);
    /// Takes back a handle that may wait for its next use.
    void giveBack(const ImageFile& file, GDALDatasetH dataset);
    /// Takes back the room of a handle that is closed, or was never opened.
    void forget();
    void closeIdle(const ImageFile& file);

private:
    struct Idle {
        ImageFile file;
        GDALDatasetH dataset;
    };
    static constexpr std::size_t maxOpen = 64;

    static void close(const std::vector<Idle>& closing) {
        for (const Idle& idle : closing)
            GDALClose(idle.dataset);
    }

    std::mutex mutex_;
    std::vector<Idle> idle_; // longest waiting first
    std::size_t open_ = 0;   // waiting and lent
};

GDALDatasetH DatasetPool::take(const ImageFile& file) {
    std::vector<Idle> closing;
    {
        const std::lock_guard lock(mutex_);
        const auto found = std::find_if(idle_.rbegin(), idle_.rend(),
                                        [&](const Idle& idle) { return idle.file == file; });
        if (found != idle_.rend()) {
            const GDALDatasetH dataset = found->dataset;
            idle_.erase(std::next(found).base());
            return dataset;
        }
        ++open_;
        if (open_ > maxOpen && !idle_.empty()) {
            closing.push_back(std::move(idle_.front()));
            idle_.erase(idle_.begin());
            --open_;
        }
    }
    close(closing);
    return nullptr;
}

void DatasetPool::giveBack(const ImageFile& file, GDALDatasetH dataset) {
    {
        const std::lock_guard lock(mutex_);
        if (open_ <= maxOpen) {
            idle_.push_back({file, dataset});
            return;
        }
        --open_;
    }
    GDALClose(dataset);
}

void DatasetPool::forget() {
    const std::lock_guard lock(mutex_);
    --open_;
}

void DatasetPool::closeIdle(const ImageFile& file) {
    std::vector<Idle> closing;
    {
        const std::lock_guard lock(mutex_);
        const auto others = std::stable_partition(
            idle_.begin(), idle_.end(), [&](const Idle& idle) { return idle.file != file; });
        closing.assign(std::make_move_iterator(others), std::make_move_iterator(idle_.end()));
        idle_.erase(others, idle_.end());
        open_ -= closing.size();
    }
    close(closing);
}

// Not listed among the host's open datasets: a host that closes all of those must not take ours.
GDALDatasetH openDataset(const ImageFile& file) {
    constexpr unsigned flags =
        GDAL_OF_RASTER | GDAL_OF_READONLY | GDAL_OF_INTERNAL | GDAL_OF_VERBOSE_ERROR;
    return GDALOpenEx(file.path.c_str(), flags, imageDrivers(), nullptr, nullptr);
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
    }
    return file;
}

DatasetLease::DatasetLease(const ImageFile& file)
    : file_(file), dataset_(DatasetPool::instance().take(file)) {
    if (dataset_)
        return;
    registerDrivers();
    dataset_ = openDataset(file);
    if (!dataset_) {
        DatasetPool::instance().forget();
        throw ImageError(errors_.describe(file.path));
    }
    if (imageFileNow(file.path) != file) {
        GDALClose(dataset_);
        DatasetPool::instance().forget();
        throw ImageError(file.path + ": the file has changed since the layer was opened");
    }
    errors_.clear();
}

DatasetLease::~DatasetLease() {
    if (reusable_) {
        DatasetPool::instance().giveBack(file_, dataset_);
    } else {
        GDALClose(dataset_);
        DatasetPool::instance().forget();
    }
}

void DatasetLease::fail() {
    reusable_ = false;
    throw ImageError(errors_.describe(file_.path));
}

void closeIdleDatasets(const ImageFile& file) {
    const ErrorCapture quiet;
    DatasetPool::instance().closeIdle(file);
}

} // namespace kimg
