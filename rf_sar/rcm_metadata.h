#pragma once

#include "image_metadata.h"
#include "kfio/product_tree.h"

#include <memory>
#include <string>

/// Product types by number; the readers behind choose by it.
enum ProductTypeIndex : std::int32_t {
    productTypeUnknown = -1,
    rs2Slc = 0,
    rs2Sgf = 1,
    rs2Sgx = 2,
    rs2Sgc = 3,
    rs2Ssg = 4, ///< map-projected: no SAR model, calibration or Doppler data
    rs2Spg = 5, ///< map-projected
    rcmSlc = 6, ///< 6 and above are RCM
    rcmGrd = 7,
    rcmGrc = 8,
    rcmScd = 9,
    rcmGcc = 10,
};

/// Reads RCM and RADARSAT-2 products: everything that a `product.xml` describes.
struct rcmImageMetadata final : imageMetadata {
    std::string satellite;                            ///< as the product writes it
    std::int32_t productTypeIndex = productTypeUnknown;

    rcmImageMetadata() { sensorName = u"C"; }

    std::vector<std::u16string> getReferencedFiles(std::uint32_t* index,
                                                   KERR_REPORT** slot) override;
    std::uint32_t getNonStandardDataNamesGet(std::uint32_t* count, char16_t*** names) override;
    void releaseDocuments() override { product_.reset(); }

private:
    void readProduct();
    void listImages(const kfio::ProductTree& product);
    void readPolarizations(const kfio::ProductTree& product);
    void readProductType(const kfio::ProductTree& product);
    bool isRadarsat2() const;

    std::shared_ptr<const kfio::ProductTree> product_; ///< what slot 0 parsed, for the slots behind
};
