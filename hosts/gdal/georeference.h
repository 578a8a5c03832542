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

/// What the open option GEOREF asks for; MAP is map_view.h's and takes what is automatic.
enum class GeorefChoice {
    automatic, ///< geotransform, or else tie points and rational functions, from the best source
    model,     ///< the same, and nothing but a sensor model will do
    rpc,       ///< rational functions alone
    gcp,       ///< tie points alone
    product,   ///< what the product itself states, nothing computed
};

/// @param text  of the option, any case; "" is automatic.
/// @throws loader::Error for any other text.
GeorefChoice parseGeorefChoice(const std::string& text);

/// Where an image lies on the ground, in GDAL's terms; found when it is first asked for. One
/// thread at a time.
class Georeference {
public:
    /// @param image  the first that can be opened; null when there is none.
    /// @param part  what is shown of the common grid of bursts, where it is a part of that.
    /// @throws loader::Error when what is asked for by name is not to be had.
    Georeference(std::shared_ptr<const OpenedProduct> opened, const ProductImage* image,
                 const std::optional<product::GridPart>& part, GeorefChoice choice);

    /// What cannot be found is told as a warning, once; these are empty then.
    const std::optional<std::array<double, 6>>& geoTransform() const;
    const GcpList& gcps() const;
    /// @return of the transform, or of the GCPs.
    const OGRSpatialReference& system() const;
    /// @return rational functions under GDAL's names; empty where there are none, or none is asked
    ///         for.
    const product::RpcItems& rpc() const;
    /// @return where the image lies, whatever was chosen; null for no image.
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
