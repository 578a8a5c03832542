#pragma once

#include "kerr/kerr.h"
#include "kxfr/kxfr.h"
#include "rf_platform_api.h"

#include <memory>
#include <span>
#include <string>

namespace kimg {

/// A digital elevation model: the first band of a GeoTIFF, SRTM, DTED or ASCII grid in any
/// coordinate system, local or on a virtual path. One thread at a time.
class RF_PLATFORM_API ElevationModel {
public:
    /// @return null with a report that names the file when it cannot be opened or does not say
    ///         where it lies.
    static std::unique_ptr<ElevationModel> open(const std::string& path, KERR_REPORT** slot);
    ~ElevationModel();
    ElevationModel(const ElevationModel&) = delete;
    ElevationModel& operator=(const ElevationModel&) = delete;

    /// Sets heightM of every point from its x (longitude) and y (latitude), WGS 84, degrees:
    /// bilinear between the centres of the model's pixels. NaN outside the model, and where one of
    /// the four pixels has no height. Heights are as the model states them: no vertical datum is
    /// converted.
    /// @return false with a report that names the file when it cannot be read.
    bool heightsAt(std::span<KxfrMapPoint> points, KERR_REPORT** slot) const;

private:
    struct State;
    explicit ElevationModel(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace kimg
