// SPDX-License-Identifier: MIT
#include "product/opened_product.h"

#include "product/find_product.h"

namespace product {
namespace {

std::vector<ProductImage> imagesOfLayers(const StatedProduct& stated) {
    const auto burstOf = [&](const StatedImage& image) -> const StatedBurst* {
        try {
            for (const StatedBurst& burst : stated.bursts())
                for (const StatedImage& each : burst.images)
                    if (each.file == image.file)
                        return &burst;
        } catch (const loader::Error&) {
            // checks report a damaged list; layers work without it
        }
        return nullptr;
    };
    std::vector<ProductImage> images;
    for (const StatedImage& image : stated.facts().images)
        images.emplace_back(image, burstOf(image));
    return images;
}

std::vector<ProductImage> imagesOfBursts(const StatedProduct& stated) {
    std::vector<ProductImage> images;
    for (const StatedBurst& burst : stated.bursts())
        for (const StatedImage& image : burst.images)
            images.emplace_back(image, &burst);
    return images;
}

/// @return nothing for products without any, or whose documents cannot be read.
std::vector<StandInFile> standInOf(const std::string& productFile) {
    try {
        return readStatedProduct(productFile)->standIn();
    } catch (const std::exception&) {
        return {}; // the user sees why the plug-in refuses the product
    }
}

} // namespace

const ImageSamples& ProductImage::opened() const {
    return *samples_->get([&] { return std::make_unique<const ImageSamples>(file); });
}

const ImageSamples* ProductImage::samples() const {
    try {
        return &opened();
    } catch (const loader::Error&) {
        return nullptr;
    }
}

std::string ProductImage::fault() const {
    try {
        opened();
        return "";
    } catch (const loader::Error& error) {
        return error.what();
    }
}

const StatedProduct& OpenedProduct::stated() const {
    return *stated_.get([&] { return readStatedProduct(product.name()); });
}

const std::vector<std::string>& OpenedProduct::layerNames() const {
    return layerNames_.get(
        [&] { return hasStandIn() ? std::vector<std::string>() : product.layerNames(); });
}

const std::vector<std::string>& OpenedProduct::nodeNames() const {
    return nodeNames_.get([&] { return product.nodeNames(); });
}

const KmifNode& OpenedProduct::record() const {
    return record_.get([&] {
        std::string remarks;
        return product.node(":SAR_Metadata", remarks);
    });
}

bool OpenedProduct::layersInPairs() const {
    return layerNames().size() > 1 && parseLayerName(layerNames()[1]).isPhase();
}

const std::vector<ProductImage>& OpenedProduct::images() const {
    return images_.get([&] { return imagesOfLayers(stated()); });
}

const std::vector<ProductImage>& OpenedProduct::burstImages() const {
    return burstImages_.get([&] { return imagesOfBursts(stated()); });
}

bool OpenedProduct::hasBursts() const {
    try {
        return !burstImages().empty();
    } catch (const loader::Error&) {
        return false;
    }
}

const ProductImage* OpenedProduct::imageOf(const LayerName& layer) const {
    const std::size_t index = imageOfLayer(layer, layersInPairs());
    return index < images().size() ? &images()[index] : nullptr;
}

std::string OpenedProduct::layerOf(const ProductImage& image) const {
    for (const std::string& name : layerNames())
        if (imageOf(parseLayerName(name)) == &image)
            return name;
    return "";
}

const ProductImage* OpenedProduct::firstImage() const {
    for (const ProductImage& image : images())
        if (image.samples())
            return &image;
    return nullptr;
}

std::shared_ptr<const OpenedProduct> openProductFile(const std::string& productFile) {
    const loader::Plugin& plugin = loader::Plugin::instance();
    try {
        return std::make_shared<const OpenedProduct>(loader::Product(plugin, productFile));
    } catch (const loader::Error&) {
        const std::vector<StandInFile> files = standInOf(productFile);
        if (files.empty())
            throw;
        auto folder = std::make_shared<const kfio::MemoryFolder>();
        for (const StandInFile& file : files)
            if (!folder->write(file.name, file.content))
                throw;
        loader::Product opened(plugin, productFile, folder->path() + '/' + files.front().name);
        return std::make_shared<const OpenedProduct>(std::move(opened), std::move(folder));
    }
}

std::shared_ptr<const OpenedProduct> openProduct(const std::string& entry) {
    return openProductFile(findProduct(entry));
}

} // namespace product
