#include "product/families/image_claims.h"

#include "loader/plugin.h"
#include "product/radiometry/column_profile.h"

#include <limits>

namespace product {
namespace {

using kfio::ProductTree;

constexpr std::string_view complexWord = "Complex";

std::uint32_t sizeAt(const ProductTree& tree, const std::string& path, const std::string& file) {
    const std::string text = textAt(tree, path);
    if (text.empty())
        return 0;
    const std::int64_t size = parseInteger(text, file);
    if (size < 1 || size > std::numeric_limits<std::int32_t>::max())
        throw loader::Error(file + ": states an image of " + text + " lines or samples");
    return static_cast<std::uint32_t>(size);
}

/// The first of them: the streams of one image are alike.
unsigned bitsAt(const ProductTree& tree, const std::string& path, const std::string& file) {
    const std::string text = textAt(tree, path);
    return text.empty() ? 0 : static_cast<unsigned>(parseInteger(text, file));
}

ImageClaims ofRadarsat2(const ProductDocument& document) {
    const std::string raster = "imageAttributes/rasterAttributes/";
    ImageClaims claims;
    claims.width = sizeAt(document.root, raster + "numberOfSamplesPerLine", document.file);
    claims.height = sizeAt(document.root, raster + "numberOfLines", document.file);
    claims.bits = bitsAt(document.root, raster + "bitsPerSample", document.file);
    if (const std::string type = textAt(document.root, raster + "dataType"); !type.empty())
        claims.isComplex = type == complexWord;
    return claims;
}

ImageClaims ofRcm(const ProductDocument& document) {
    const std::string image = "sceneAttributes/imageAttributes/";
    const std::string raster = "imageReferenceAttributes/rasterAttributes/";
    ImageClaims claims;
    claims.width = sizeAt(document.root, image + "samplesPerLine", document.file);
    claims.height = sizeAt(document.root, image + "numLines", document.file);
    claims.bits = bitsAt(document.root, raster + "bitsPerSample", document.file);
    if (const std::string type = textAt(document.root, image + "<xmlattr>/sampleType");
        !type.empty())
        claims.isComplex = type == complexWord;
    if (const std::string type = textAt(document.root, raster + "dataType"); !type.empty())
        claims.isFloating = type == "Floating-Point";
    return claims;
}

/// Types are written as GDAL writes them: "UInt16", "CInt16", "CFloat32".
ImageClaims ofCapella(const ProductDocument& document) {
    const std::string image = "collect/image/";
    ImageClaims claims;
    claims.width = sizeAt(document.extended, image + "columns", document.extendedFile);
    claims.height = sizeAt(document.extended, image + "rows", document.extendedFile);
    const std::string type = textAt(document.extended, image + "data_type");
    const auto digits = type.find_first_of("0123456789");
    if (digits == std::string::npos)
        return claims;
    claims.isComplex = type.front() == 'C';
    claims.isFloating = type.find("Float") != std::string::npos;
    claims.bits = static_cast<unsigned>(parseInteger(type.substr(digits), document.extendedFile));
    return claims;
}

std::string formText(std::optional<bool> isComplex, std::optional<bool> isFloating, unsigned bits) {
    std::string text = !isComplex ? "samples" : *isComplex ? "complex samples" : "real samples";
    if (bits != 0)
        text += " of " + std::to_string(bits) + " bits";
    if (isFloating)
        text += *isFloating ? ", floating" : ", integer";
    return text;
}

} // namespace

ImageClaims imageClaims(const ProductDocument& document) {
    switch (document.kind) {
    case ProductDocument::Kind::radarsat2:
        return ofRadarsat2(document);
    case ProductDocument::Kind::rcm:
        return ofRcm(document);
    case ProductDocument::Kind::capella:
        break;
    }
    return ofCapella(document);
}

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

void requireStatedWidth(const ProductDocument& document, std::uint32_t width,
                        const std::string& tableFile) {
    const std::uint32_t stated = imageClaims(document).width;
    if (stated != 0 && stated != width)
        throw loader::Error(tableFile + ": is made for lines of " + std::to_string(stated) +
                            " samples, but the image's have " + std::to_string(width));
}

} // namespace product
