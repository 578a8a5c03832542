// SPDX-License-Identifier: MIT
#pragma once

#include "kprj/heights.h"

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kimg {

/// One file of heights. Constant except for its handles; any thread may read at any time.
class ElevationFile {
public:
    /// @throws ImageError naming the file when it cannot be opened or has no georeferencing.
    explicit ElevationFile(const std::string& path);
    ~ElevationFile();
    ElevationFile(const ElevationFile&) = delete;
    ElevationFile& operator=(const ElevationFile&) = delete;

    const std::string& path() const { return path_; }
    int width() const { return width_; }
    int height() const { return height_; }
    const std::array<double, 6>& geoTransform() const { return geoTransform_; }
    /// @return the coordinate system as the file states it, WKT.
    const std::string& system() const { return system_; }
    const KprjHeightSystem& heights() const { return heights_; }
    /// Sets the reference of the file's heights; they are in m unless the file names a unit.
    void countFrom(KprjHeightSystem::Kind kind);

    /// Writes heights in m into those `values` that have none yet (NaN or outsideAllFiles); values
    /// without a height in the file become NaN.
    /// @param stride  from line to line of `values`.
    /// @throws ImageError naming the file when it cannot be read.
    void addTo(int column, int line, int columns, int lines, double* values,
               std::size_t stride) const;

private:
    struct DatasetCloser {
        void operator()(void* dataset) const;
    };
    using DatasetPtr = std::unique_ptr<void, DatasetCloser>;

    DatasetPtr openDataset() const;
    DatasetPtr takeDataset() const;
    void keep(DatasetPtr dataset) const;
    void readBand(void* dataset);

    std::string path_, system_;
    int width_ = 0, height_ = 0;
    std::array<double, 6> geoTransform_{};
    KprjHeightSystem heights_;
    double bandUnit_ = 0; ///< m; 0 when the band names none
    double noData_ = 0, scale_ = 1, offset_ = 0;
    int hasNoData_ = 0;
    mutable std::mutex idleMutex_;
    mutable std::vector<DatasetPtr> idle_; ///< handles that no thread uses
};

/// The value in a window where no file reaches.
constexpr double outsideAllFiles = -1e300;

} // namespace kimg
