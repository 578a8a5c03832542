// SPDX-License-Identifier: MIT
#include "product/images/image_claims.h"

namespace product {
namespace {

std::string formText(std::optional<bool> isComplex, std::optional<bool> isFloating, unsigned bits) {
    std::string text = !isComplex ? "samples" : *isComplex ? "complex samples" : "real samples";
    if (bits != 0)
        text += " of " + std::to_string(bits) + " bits";
    if (isFloating)
        text += *isFloating ? ", floating" : ", integer";
    return text;
}

} // namespace

std::string sizeContradiction(const ImageClaims& stated, std::uint32_t width,
                              std::uint32_t height) {
    const auto differs = [](std::uint32_t claim, std::uint32_t is) {
        return claim != 0 && claim != is;
    };
    if (!differs(stated.width, width) && !differs(stated.height, height))
        return "";
    const auto text = [](std::uint32_t size) {
        return size == 0 ? std::string("?") : std::to_string(size);
    };
    return "has " + text(width) + " x " + text(height) + " pixels, the product states " +
           text(stated.width) + " x " + text(stated.height);
}

std::string typeContradiction(const ImageClaims& stated, const SampleForm& found) {
    const bool agree = stated.isComplex.value_or(found.isComplex) == found.isComplex &&
                       stated.isFloating.value_or(found.isFloating) == found.isFloating &&
                       (stated.bits == 0 || stated.bits == found.bits);
    if (agree)
        return "";
    return "holds " + formText(found.isComplex, found.isFloating, found.bits) +
           "; the product states " + formText(stated.isComplex, stated.isFloating, stated.bits);
}

} // namespace product
