#pragma once

#include "product/families/product_document.h"

#include <cstdint>
#include <string>
#include <vector>

namespace product {

/// One image file of a product, in the product's own order, and the polarization that the product
/// states for exactly this file ("" when it states none).
struct ImageFact {
    std::string file; ///< as the product writes it
    std::string pole;
};

/// What a product says of itself that the plug-in's interface cannot carry. Texts are UTF-8, empty
/// where the product is silent.
struct ProductFacts {
    std::string satellite;
    std::string productType;
    std::vector<std::string> polarizations; ///< the list as the product writes it
    std::vector<ImageFact> images;
    /// Calibration tables, and the other files beside images that it names; relative to the folder
    /// of the product file.
    std::vector<std::string> tables;
    std::vector<std::string> furtherFiles;
    std::int64_t samplesPerLine = 0; ///< as stated, 0 when it is not
};

ProductFacts readFacts(const ProductDocument& document);

/// @return sentences on layer names that carry another pole than their image.
std::vector<std::string> contradictions(const ProductFacts& facts,
                                        const std::vector<std::string>& layerNames);

/// @return a sentence when products of this type have no SAR model, else "".
std::string modelRemark(const ProductFacts& facts);

/// The parts of a layer name "<sensor>_<polarization>_<kind>_<number>".
struct LayerName {
    std::string sensor;
    std::string pole;
    std::string kind;
    int number = 0;

    bool isPhase() const { return kind == "PHASE"; }
};
LayerName parseLayerName(const std::string& name);

/// @return the position in `images` of the file that serves a layer.
std::size_t imageOfLayer(const LayerName& name, bool complexProduct);

} // namespace product
