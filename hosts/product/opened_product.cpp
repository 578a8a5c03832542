#include "product/opened_product.h"

#include "product/images/image_files.h"

namespace product {

OpenedProduct::OpenedProduct(loader::Product opened)
    : product(std::move(opened)), document(readDocument(product.name())),
      facts(readFacts(document)), layerNames(product.layerNames()), nodeNames(product.nodeNames()),
      layersInPairs(layerNames.size() > 1 && parseLayerName(layerNames[1]).isPhase()) {
    const std::vector<std::string> files = imageFiles(document, facts);
    for (std::size_t i = 0; i < files.size(); ++i) {
        ProductImage image{files[i], facts.images[i].pole, nullptr, ""};
        try {
            image.samples = std::make_unique<ImageSamples>(image.file);
        } catch (const loader::Error& error) {
            image.fault = error.what();
        }
        images.push_back(std::move(image));
    }
}

const ProductImage* OpenedProduct::imageOf(const LayerName& layer) const {
    const std::size_t index = imageOfLayer(layer, layersInPairs);
    return index < images.size() ? &images[index] : nullptr;
}

std::string OpenedProduct::layerOf(const ProductImage& image) const {
    for (const std::string& name : layerNames)
        if (imageOf(parseLayerName(name)) == &image)
            return name;
    return "";
}

const ProductImage* OpenedProduct::firstImage() const {
    for (const ProductImage& image : images)
        if (image.samples)
            return &image;
    return nullptr;
}

} // namespace product
