#include "product/opened_product.h"

#include "product/find_product.h"

namespace product {
namespace {

std::vector<ProductImage> openImages(const StatedProduct& stated) {
    std::vector<ProductImage> images;
    for (const StatedImage& each : stated.facts().images) {
        ProductImage image{each.file, each.pole, nullptr, ""};
        try {
            image.samples = std::make_unique<ImageSamples>(image.file);
        } catch (const loader::Error& error) {
            image.fault = error.what();
        }
        images.push_back(std::move(image));
    }
    return images;
}

} // namespace

const StatedProduct& OpenedProduct::stated() const {
    return *stated_.get([&] { return readStatedProduct(product.name()); });
}

const std::vector<std::string>& OpenedProduct::layerNames() const {
    return layerNames_.get([&] { return product.layerNames(); });
}

const std::vector<std::string>& OpenedProduct::nodeNames() const {
    return nodeNames_.get([&] { return product.nodeNames(); });
}

bool OpenedProduct::layersInPairs() const {
    return layerNames().size() > 1 && parseLayerName(layerNames()[1]).isPhase();
}

const std::vector<ProductImage>& OpenedProduct::images() const {
    return images_.get([&] { return openImages(stated()); });
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
        if (image.samples)
            return &image;
    return nullptr;
}

std::shared_ptr<const OpenedProduct> openProduct(const std::string& entry) {
    return std::make_shared<const OpenedProduct>(
        loader::Product(loader::Plugin::instance(), findProduct(entry)));
}

} // namespace product
