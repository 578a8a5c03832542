// SPDX-License-Identifier: MIT
#pragma once

#include <gdal_priv.h>

namespace rf_sar_gdal {

/// Where GDAL's classes changed between the versions that are served, 3.6 to 3.13: what overrides
/// one of these functions is declared by these names, and says the same for every version.

#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 13, 0)
using MetadataList = CSLConstList; ///< what GetMetadata returns
#else
using MetadataList = char**;
#endif

/// RefUnderlyingRasterBand's parameter, which is given a name and a meaning by no one here.
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 7, 0)
#define RF_SAR_GDAL_FORCE_OPEN bool
#else
#define RF_SAR_GDAL_FORCE_OPEN
#endif

/// A dataset that says its geotransform by copyGeoTransform.
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
