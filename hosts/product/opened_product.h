#pragma once

#include "loader/product.h"
#include "product/families/product_facts.h"
#include "product/images/image_samples.h"

#include <memory>
#include <string>
#include <vector>

namespace product {

/// One image file of a product.
struct ProductImage {
    std::string file;
    std::string pole;                      ///< as the product states it for this file
    std::unique_ptr<ImageSamples> samples; ///< null when the file cannot be opened
    std::string fault;                     ///< why
};

/// A product with all that it states and its image files open.
struct OpenedProduct {
    /// @throws loader::Error naming the file.
    explicit OpenedProduct(loader::Product opened);

    loader::Product product;
    ProductDocument document;
    ProductFacts facts;
    std::vector<std::string> layerNames;
    std::vector<std::string> nodeNames; ///< with their colon
    std::vector<ProductImage> images;   ///< in the product's own order
    bool layersInPairs;                 ///< magnitude and phase of each image

    /// @return the image that serves a layer; null when the product names none.
    const ProductImage* imageOf(const LayerName& layer) const;
    /// @return the first layer that shows an image; "" when there is none.
    std::string layerOf(const ProductImage& image) const;
    /// @return the first image that could be opened; null when there is none.
    const ProductImage* firstImage() const;
};

} // namespace product
