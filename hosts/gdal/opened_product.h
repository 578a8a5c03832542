#pragma once

#include "loader/product.h"
#include "product/image_samples.h"
#include "product/product_facts.h"

#include <memory>
#include <string>
#include <vector>

namespace rf_sar_gdal {

/// One image file of a product.
struct ProductImage {
    std::string file;
    std::string pole;                               ///< as the product states it for this file
    std::unique_ptr<product::ImageSamples> samples; ///< null when the file cannot be opened
    std::string fault;                              ///< why
};

/// A product as one dataset handle has it open; its bands share it.
struct OpenedProduct {
    /// @param file  as product::findProduct gives it.
    /// @throws loader::Error naming the file.
    explicit OpenedProduct(const std::string& file);

    loader::Product product;
    product::ProductDocument document;
    product::ProductFacts facts;
    std::vector<std::string> layerNames;
    std::vector<std::string> nodeNames; ///< with their colon
    std::vector<ProductImage> images; ///< in the product's own order
    bool layersInPairs;               ///< magnitude and phase of each image

    /// @return the image that serves a layer; null when the product names none.
    const ProductImage* imageOf(const product::LayerName& layer) const;
    /// @return the first image that could be opened; null when there is none.
    const ProductImage* firstImage() const;
};

} // namespace rf_sar_gdal
