// SPDX-License-Identifier: MIT
#pragma once

#include <gdal_priv.h>

namespace rf_sar_gdal {

/// GDAL's classes differ between the supported versions, 3.6 to 3.13. Overrides of the changed
/// functions use these names, so that they read the same for every version.

#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 13, 0)
using MetadataList = CSLConstList; ///< the return type of GetMetadata
#else
using MetadataList = char**;
#endif

/// The parameter of RefUnderlyingRasterBand, which is unused here.
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 7, 0)
#define RF_SAR_GDAL_FORCE_OPEN bool
#else
#define RF_SAR_GDAL_FORCE_OPEN
#endif

/// A dataset that states its geotransform through copyGeoTransform.
template <class Dataset>
class WithGeoTransform : public Dataset {
public:
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 12, 0)
    CPLErr GetGeoTransform(GDALGeoTransform& transform) const override {
        return copyGeoTransform(transform.data()) ? CE_None : Dataset::GetGeoTransform(transform);
    }
#else
    CPLErr GetGeoTransform(double* transform) override {
        return copyGeoTransform(transform) ? CE_None : Dataset::GetGeoTransform(transform);
    }
#endif

private:
    /// @param transform  receives 6 numbers.
    /// @return false where the dataset has none of its own.
    virtual bool copyGeoTransform(double* transform) const = 0;
};

} // namespace rf_sar_gdal
