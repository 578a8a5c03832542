// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"
#include "product/images/image_samples.h"

namespace product {

/// @return how an image differs from what its product states, as part of a sentence ("has 40 x 60
///         pixels, the product states 48 x 64"); empty when they agree.
std::string sizeContradiction(const ImageClaims& stated, std::uint32_t width, std::uint32_t height);
std::string typeContradiction(const ImageClaims& stated, const SampleForm& found);

} // namespace product
