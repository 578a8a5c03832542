// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/virtual_files.h"
#include "kmif/kmif_node.h"
#include "loader/product.h"
#include "product/families/stated_product.h"
#include "product/images/image_samples.h"
#include "product/images/layer_name.h"
#include "product/kept.h"

#include <memory>
#include <string>
#include <vector>

namespace product {

/// One image file of a product, opened when first asked for.
struct ProductImage {
    ProductImage(const StatedImage& stated, const StatedBurst* of)
        : file(stated.file), pole(stated.pole), isCrossProduct(stated.isCrossProduct), burst(of) {}

    std::string file;
    std::string pole; ///< as the product states it for this file
    bool isCrossProduct = false;
    const StatedBurst* burst = nullptr; ///< the burst that it shows; null for whole images

    /// @return null when the file cannot be opened.
    const ImageSamples* samples() const;
    /// @return why the file cannot be opened; "" when it can.
    std::string fault() const;

private:
    using Opened = Kept<std::unique_ptr<const ImageSamples>>;
    const ImageSamples& opened() const;

    std::shared_ptr<const Opened> samples_ = std::make_shared<const Opened>();
};

/// An open product: the plug-in's handle, what the product states, and its image files. Statements
/// and image files are read once, when first asked for, and kept. Objects are constant: any thread
/// may use them.
class OpenedProduct {
public:
    /// @param standIn  the folder of documents that the plug-in reads in place of the product's own
    ///        (StatedProduct::standIn); null for none.
    explicit OpenedProduct(loader::Product opened,
                           std::shared_ptr<const kfio::MemoryFolder> standIn = nullptr)
        : standIn_(std::move(standIn)), product(std::move(opened)) {}

private:
    std::shared_ptr<const kfio::MemoryFolder> standIn_; ///< outlives the product

public:
    const loader::Product product;

    /// @return the product file's name, as it was opened.
    const std::string& name() const { return product.name(); }
    /// @throws loader::Error naming the file when the product's documents cannot be read.
    const StatedProduct& stated() const;
    /// Empty where the plug-in reads a stand-in.
    /// @throws loader::Error when the plug-in cannot list them.
    const std::vector<std::string>& layerNames() const;
    /// Names of the plug-in's nodes, with their colon.
    const std::vector<std::string>& nodeNames() const;
    /// @return the plug-in's SAR metadata record, a SarMetadataRecord.
    /// @throws loader::Error when it has none.
    const KmifNode& record() const;
    /// @return whether each image has a magnitude and a phase layer.
    bool layersInPairs() const;
    /// @return the images that the plug-in's layers show, in the product's own order.
    const std::vector<ProductImage>& images() const;
    /// @return the images of all bursts, in the order of StatedProduct::bursts(); empty for
    ///         products without bursts.
    const std::vector<ProductImage>& burstImages() const;

    bool hasStandIn() const { return standIn_ != nullptr; }
    /// @return whether the product's images are bursts and their list can be read.
    bool hasBursts() const;
    /// @return the image that serves a layer; null when the product names none.
    const ProductImage* imageOf(const LayerName& layer) const;
    /// @return the first layer that shows an image; "" when there is none.
    std::string layerOf(const ProductImage& image) const;
    /// @return the first image that could be opened; null when there is none.
    const ProductImage* firstImage() const;

private:
    Kept<std::unique_ptr<const StatedProduct>> stated_;
    Kept<std::vector<std::string>> layerNames_, nodeNames_;
    Kept<std::vector<ProductImage>> images_, burstImages_;
    Kept<KmifNode> record_;
};

/// @param productFile  as findProduct() gives it.
/// @throws loader::Error naming what cannot be opened.
std::shared_ptr<const OpenedProduct> openProductFile(const std::string& productFile);

/// @param entry  what a user names; findProduct() finds the product file.
/// @throws loader::Error naming what cannot be found or opened.
std::shared_ptr<const OpenedProduct> openProduct(const std::string& entry);

} // namespace product
