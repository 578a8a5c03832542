// SPDX-License-Identifier: MIT
#pragma once

#include "gcps.h"
#include "product/opened_product.h"
#include "product/place/placement.h"

#include <ogr_spatialref.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

namespace rf_sar_gdal {

using product::OpenedProduct;
using product::ProductImage;

/// The choices of the open option GEOREF. Its value MAP is handled in map_view.h and uses
/// `automatic`.
enum class GeorefChoice {
    automatic, ///< geotransform, else tie points and rational functions, from the best source
    model,     ///< the same, but an error without a sensor model
    rpc,       ///< rational functions alone
    gcp,       ///< tie points alone
    product,   ///< as the product states them, nothing computed
};

/// @param text  the option's value, in any case; "" is automatic.
/// @throws loader::Error for any other text.
GeorefChoice parseGeorefChoice(const std::string& text);

/// An image's georeferencing in GDAL's terms, computed when first asked for. One thread at a time.
class Georeference {
public:
    /// @param image  the first that can be opened; null when there is none.
    /// @param part  the part of the common grid of bursts that the image shows, if any.
    /// @throws loader::Error when the choice names something that is not available.
    Georeference(std::shared_ptr<const OpenedProduct> opened, const ProductImage* image,
                 const std::optional<product::GridPart>& part, GeorefChoice choice);

    /// These are empty where nothing is found; a warning says so once.
    const std::optional<std::array<double, 6>>& geoTransform() const;
    const GcpList& gcps() const;
    /// @return the coordinate system of the transform or of the GCPs.
    const OGRSpatialReference& system() const;
    /// @return rational functions under GDAL's names; empty where there are none or the choice
    ///         excludes them.
    const product::RpcItems& rpc() const;
    /// @return the image's georeferencing, whatever the choice; null without an image.
    /// @throws loader::Error as product::placeOf.
    std::shared_ptr<const product::Place> place() const;

private:
    struct Found {
        std::optional<std::array<double, 6>> geoTransform;
        GcpList gcps;
        OGRSpatialReference system;
    };
    product::Window whole() const;
    void take(const kimg::Georeferencing& found) const;
    void find() const;
    void findStated() const;
    void findRpc() const;
    void require() const;

    std::shared_ptr<const OpenedProduct> opened_;
    const ProductImage* image_;
    std::optional<product::GridPart> part_;
    GeorefChoice choice_;
    mutable std::shared_ptr<const product::Place> place_;
    mutable std::optional<Found> found_;
    mutable std::optional<product::RpcItems> rpc_;
};

} // namespace rf_sar_gdal
