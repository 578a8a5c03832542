#include "opened_product.h"

#include "product/image_files.h"

namespace rf_sar_gdal {

OpenedProduct::OpenedProduct(const std::string& file)
    : product(loader::Plugin::instance(), file), document(product::readDocument(file)),
      facts(product::readFacts(document)), layerNames(product.layerNames()),
      nodeNames(product.nodeNames()),
      layersInPairs(layerNames.size() > 1 && product::parseLayerName(layerNames[1]).isPhase()) {
    const std::vector<std::string> files = product::imageFiles(document, facts);
    for (std::size_t i = 0; i < files.size(); ++i) {
        ProductImage image{files[i], facts.images[i].pole, nullptr, ""};
        try {
            image.samples = std::make_unique<product::ImageSamples>(image.file);
        } catch (const loader::Error& error) {
            image.fault = error.what();
        }
        images.push_back(std::move(image));
    }
}

const ProductImage* OpenedProduct::imageOf(const product::LayerName& layer) const {
    const std::size_t index = product::imageOfLayer(layer, layersInPairs);
    return index < images.size() ? &images[index] : nullptr;
}

const ProductImage* OpenedProduct::firstImage() const {
    for (const ProductImage& image : images)
        if (image.samples)
            return &image;
    return nullptr;
}

} // namespace rf_sar_gdal
