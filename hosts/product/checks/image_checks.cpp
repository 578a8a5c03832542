// SPDX-License-Identifier: MIT
#include "product/checks/image_checks.h"

#include "kfio/kfio.h"
#include "product/images/image_claims.h"

namespace product {
namespace {

/// @return a sentence for each layer whose name has another pole than its image, or hides what the
///         image is.
std::vector<std::string> nameContradictions(const OpenedProduct& opened) {
    const ProductFacts& facts = opened.stated().facts();
    std::vector<std::string> found;
    for (const std::string& text : opened.layerNames()) {
        const LayerName name = parseLayerName(text);
        const std::size_t image = imageOfLayer(name, opened.layersInPairs());
        if (image >= facts.images.size() || facts.images[image].pole.empty() ||
            facts.images[image].pole == name.pole)
            continue;
        found.push_back("layer " + text + " shows polarization " + facts.images[image].pole +
                        ", although its name says " + name.pole +
                        ": the product lists its images in another order than its polarizations");
    }
    if (facts.namedAsDetected)
        found.push_back("product type " + facts.productType +
                        " has complex samples, which its layers, named as magnitudes, cannot show; "
                        "COMPLEX_HH and the like can");
    return found;
}

/// Layers of detected images open whatever the image file contains. That it has no samples of a
/// known form is reported once: by the layer that does not open, or else here.
void tellImagesWithoutForm(const OpenedProduct& opened, Findings& findings) {
    for (const ProductImage& image : opened.images()) {
        const std::string layer = opened.layerOf(image);
        if (image.samples() || layer.empty())
            continue;
        try {
            static_cast<void>(opened.product.openLayer(layer));
        } catch (const loader::Error&) {
            continue; // the layers' check reports it
        }
        findings.add(Verdict::fail, image.fault());
    }
}

/// Checks the images that open; the check of layers reports the others.
template <class Contradiction>
void checkImages(const OpenedProduct& opened, const std::string& areRight,
                 const Contradiction& what, Findings& findings) {
    std::size_t good = 0;
    for (const ProductImage& image : opened.images()) {
        if (!image.samples())
            continue;
        const std::string wrong = what(image);
        if (wrong.empty())
            ++good;
        else
            findings.add(Verdict::fail, image.file + " " + wrong);
    }
    findings.addWhenAll(good, opened.images().size(), areRight);
}

/// @return a sentence for each image with another size than stated.
std::string wrongSize(const ImageClaims& stated, const ProductImage& image) {
    ImageClaims claims = stated;
    if (image.burst) {
        claims.width = image.burst->samples;
        claims.height = image.burst->lines;
    }
    return sizeContradiction(claims, image.samples()->width(), image.samples()->height());
}

} // namespace

void checkLayers(const OpenedProduct& opened, Findings& findings) {
    const auto& names = opened.layerNames();
    if (names.empty() && opened.stated().facts().polarizations.empty())
        findings.add(Verdict::fail,
                     opened.name() + ": lists no polarizations, so that it has no layers");
    std::size_t good = 0;
    for (const std::string& name : names)
        try {
            static_cast<void>(opened.product.openLayer(name));
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    findings.addWhenAll(good, names.size(), "layers open");
}

/// Layer names follow the list of polarizations; images have an order of their own.
void checkPolarizations(const OpenedProduct& opened, Findings& findings) {
    std::vector<std::string> found = nameContradictions(opened);
    for (std::string& sentence : opened.stated().contradictions())
        found.push_back(std::move(sentence));
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "layer names and images agree");
}

void checkSizes(const OpenedProduct& opened, Findings& findings) {
    const ImageClaims stated = opened.stated().imageClaims();
    checkImages(
        opened, "images have the size that the product states",
        [&](const ProductImage& image) { return wrongSize(stated, image); }, findings);
}

void checkTypes(const OpenedProduct& opened, Findings& findings) {
    const ImageClaims stated = opened.stated().imageClaims();
    checkImages(
        opened, "images hold samples of the type that the product states",
        [&](const ProductImage& image) {
            return typeContradiction(stated, image.samples()->form());
        },
        findings);
    tellImagesWithoutForm(opened, findings);
    if (!stated.isComplex.value_or(true))
        for (const ProductImage& image : opened.images())
            if (const ImageSamples* samples = image.samples(); samples && !samples->isComplex() &&
                                                               samples->form().isSigned &&
                                                               !samples->form().isFloating)
                findings.add(Verdict::warn, image.file +
                                                " holds integers with a sign, which samples of a "
                                                "detected product do not have");
}

void checkExtent(const OpenedProduct& opened, Findings& findings) {
    std::size_t good = 0, total = 0;
    for (const ProductImage& image : imagesToCheck(opened)) {
        if (!image.samples())
            continue;
        ++total;
        if (const std::uint64_t missing = image.samples()->missingBytes())
            findings.add(Verdict::fail, image.file + " was cut: its image reaches " +
                                            std::to_string(missing) +
                                            " bytes beyond the file's end; copy or download it "
                                            "again");
        else
            ++good;
    }
    findings.addWhenAll(good, total, "images end where their files do, or before");
}

void checkBurstImages(const OpenedProduct& opened, Findings& findings) {
    if (!opened.hasBursts())
        return;
    const ImageClaims stated = opened.stated().imageClaims();
    std::size_t good = 0;
    for (const ProductImage& image : opened.burstImages()) {
        if (!image.samples()) {
            if (kfio::fileState(image.file).exists) // else the files' check reports it
                findings.add(Verdict::fail, image.fault());
            continue;
        }
        std::string wrong = wrongSize(stated, image);
        if (wrong.empty())
            wrong = typeContradiction(stated, image.samples()->form());
        if (wrong.empty())
            ++good;
        else
            findings.add(Verdict::fail, image.file + " " + wrong);
    }
    findings.addWhenAll(good, opened.burstImages().size(),
                        "images of bursts open and have the size and type that the product states");
}

} // namespace product
