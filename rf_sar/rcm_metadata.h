// SPDX-License-Identifier: MIT
#pragma once

#include "image_metadata.h"
#include "kfio/kfio.h"
#include "kfio/product_tree.h"

#include "rs2_product.h"

#include <memory>
#include <string>

/// Numbers of product types, by which the readers of nodes decide.
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

/// Reads RCM and RADARSAT-2 products, which a `product.xml` describes.
struct rcmImageMetadata final : imageMetadata {
    std::string satellite; ///< as the product writes it
    std::int32_t productTypeIndex = productTypeUnknown;

    rcmImageMetadata() { sensorName = u"C"; }

    std::vector<std::u16string> getReferencedFiles(std::uint32_t* index,
                                                   KERR_REPORT** slot) override;
    SarMetadataRecord* readSARnode() override;
    /// @return a DopplerRateRecord (doppler_rates.h), null for all but RADARSAT-2.
    void* getDopplerRates() override;
    /// Fills ":Rs2_Calibration" of RADARSAT-2 products.
    void readNonStandardData(const char16_t* name, const HostNodeArguments& host) override;
    std::uint32_t getNonStandardDataNamesGet(std::uint32_t* count, char16_t*** names) override;

private:
    void readProduct();
    void listImages(const kfio::ProductTree& product);
    void readPolarizations(const kfio::ProductTree& product);
    void readProductType(const kfio::ProductTree& product);
    void keepDocument();
    bool isRadarsat2() const;
    /// Whether the product has Doppler rates and calibration.
    bool hasRadarsat2Data() const;
    SarMetadataRecord* readRcmNode();
    SarMetadataRecord* readRadarsat2Node();

    /// A `product.xml` as text and tree, and the state of the file that it was read from.
    struct Document {
        kfio::FileState state;
        std::string text;
        kfio::ProductTree tree;
    };
    std::shared_ptr<Document> readDocument() const;

    std::shared_ptr<Document> document_; ///< RCM: what slot 0 parsed, until slot 2 has used it
    std::shared_ptr<const kfio::ProductTree> incidenceAngles_; ///< RCM: hosts need it too
    std::shared_ptr<const rs2::Document> bound_; ///< RADARSAT-2: serves all nodes
};
