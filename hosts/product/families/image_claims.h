#pragma once

#include "product/families/product_facts.h"
#include "product/images/image_samples.h"

#include <cstdint>
#include <optional>
#include <string>

namespace product {

/// What a product states of each of its image files; empty or 0 where it is silent.
struct ImageClaims {
    std::uint32_t width = 0, height = 0;
    std::optional<bool> isComplex;
    std::optional<bool> isFloating;
    unsigned bits = 0; ///< of a sample, or of each part of a complex one
};

/// @throws loader::Error naming the file when a size is no whole number above 0.
ImageClaims imageClaims(const ProductDocument& document);

/// @return where an image is not as its product states, each a sentence part ("has 40 x 60 pixels,
///         the product states 48 x 64"); empty when they agree.
std::string sizeContradiction(const ImageClaims& stated, std::uint32_t width, std::uint32_t height);
std::string typeContradiction(const ImageClaims& stated, const SampleForm& found);

/// Tables go by the columns that the product states.
/// @throws loader::Error naming the table's file when the image has another number of them.
void requireStatedWidth(const ProductDocument& document, std::uint32_t width,
                        const std::string& tableFile);

} // namespace product
