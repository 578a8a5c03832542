// SPDX-License-Identifier: MIT
#pragma once

#include "bands.h"
#include "gdal_versions.h"
#include "georeference.h"
#include "kimg/elevation.h"

#include <cpl_string.h>
#include <gdal_pam.h>

#include <set>

namespace rf_sar_gdal {

/// Beginning of the names that are drawn on the map: "MAP", "MAP_SIGMA_NOUGHT_DB_HH".
constexpr char mapName[] = "MAP";

/// A user's request to open a product.
struct OpenRequest {
    std::string description; ///< the name that GDAL was given
    std::string file;        ///< as product::findProduct gives it
    std::string layer;       ///< an entry's name; "" for the product as a whole
    std::string calibration; ///< SIGMA_NOUGHT, SIGMA_NOUGHT_DB, ...; "" for samples as they are
    bool clearest = false;   ///< for the whole product: what suits a viewer best
    bool denoised = false;   ///< the noise level is subtracted
    GeorefChoice georef = GeorefChoice::automatic;
    bool onTheMap = false;           ///< drawn on the map while it is read (map_view.h)
    kimg::ElevationSource elevation; ///< for onTheMap; without paths: the scene's height
};

/// A whole product, or one entry of it. As usual in GDAL, one thread uses a dataset at a time;
/// different datasets may be used in parallel.
class SarDataset final : public WithGeoTransform<GDALPamDataset> {
public:
    /// @throws loader::Error naming the file.
    explicit SarDataset(const OpenRequest& request);

    char** GetFileList() override;
    char** GetMetadataDomainList() override;
    MetadataList GetMetadata(const char* domain) override;
    const char* GetMetadataItem(const char* name, const char* domain) override;
    const OGRSpatialReference* GetSpatialRef() const override;
    int GetGCPCount() override;
    const OGRSpatialReference* GetGCPSpatialRef() const override;
    const GDAL_GCP* GetGCPs() override;

    /// @return the image's georeferencing, for drawing it; null without an image.
    /// @throws loader::Error as product::placeOf.
    std::shared_ptr<const product::Place> place() const { return reference_->place(); }

protected:
    /// Writes overviews into a file beside the product, named for the open entry, so that each
    /// entry has its own file.
    CPLErr IBuildOverviews(const char* resampling, int count, const int* factors, int bandCount,
                           const int* bandNumbers, GDALProgressFunc progress, void* progressData,
                           CSLConstList options) override;

private:
    bool copyGeoTransform(double* transform) const override;
    std::vector<Entry> chosen(const OpenRequest& request) const;
    void addBands(const OpenRequest& request);
    void nameSidecars(const OpenRequest& request);
    const ProductImage* image() const;
    std::optional<product::GridPart> part() const;
    void tellWarnings();
    void provide(const char* name);
    void provideItems();
    void provideSubdatasets();
    bool canBeDrawn() const;
    void provideNode(const std::string& name);

    std::shared_ptr<const OpenedProduct> opened_;
    std::vector<Entry> shown_; ///< one a band
    bool listsEntries_;        ///< as subdatasets, as a whole product does
    std::unique_ptr<const Georeference> reference_;
    bool toldWarnings_ = false;
    std::set<std::string> provided_; ///< metadata domains filled so far
};

} // namespace rf_sar_gdal
