// SPDX-License-Identifier: MIT
#include "product/images/image_samples.h"

#include "kimg/image_extent.h"
#include "kpxm/kpxm.h"
#include "ktxt/ktxt.h"
#include "loader/plugin.h"

#include <vector>

namespace product {
namespace {

/// Pixel type of the words that hold an int16 pair.
constexpr std::uint32_t packedPair = kpxmU32;

/// The image library's messages name the file already.
[[noreturn]] void fail(const std::string& file, const kerr::Slot& slot) {
    std::string reason = slot.get() ? slot.get()->message : "";
    for (const KERR_REPORT* cause = slot.get(); cause; cause = cause->cause.get())
        if (cause->message.find(file) != std::string::npos)
            reason = cause->message;
    throw loader::Error(reason.find(file) == std::string::npos ? file + ": " + reason : reason);
}

/// Two layers are one complex band, or two bands with real and imaginary parts.
ImageSamples::Type typeOf(std::uint32_t first, std::uint32_t second, const std::string& file) {
    if ((first == packedPair || first == kpxmS16) && second == kpxmS16)
        return ImageSamples::Type::complexInt16;
    if (first == kpxmC64 || (first == kpxmF32 && second == kpxmF32))
        return ImageSamples::Type::complexFloat32;
    if (first == kpxmC128 || (first == second && (first == kpxmS32 || first == kpxmF64)))
        return ImageSamples::Type::complexFloat64;
    throw loader::Error(file + ": its two bands cannot be the parts of complex samples");
}

struct RectDeleter {
    void operator()(KPXM_RECT* rect) const { kpxm_PixelRectDelete(rect); }
};

} // namespace

ImageSamples::ImageSamples(const std::string& file) : file_(file) {
    kerr::Slot slot;
    const KstrStringList names = kimg_LayerGetNames(ktxt::widen(file), nullptr, slot);
    if (slot)
        fail(file, slot);
    if (names.count() < 1 || names.count() > 2)
        throw loader::Error(file + ": holds " + std::to_string(names.count()) +
                            " real bands instead of one, or two of a complex image");
    first_ = openLayer(names[0]);
    if (names.count() == 1)
        return;
    second_ = openLayer(names[1]);
    const std::uint32_t type = kimg_LayerPixelTypeGet(first_.get());
    type_ = typeOf(type, kimg_LayerPixelTypeGet(second_.get()), file);
    oneBand_ = type == packedPair || type == kpxmC64 || type == kpxmC128;
}

ImageSamples::LayerPtr ImageSamples::openLayer(std::u16string_view name) const {
    kerr::Slot slot;
    const std::unique_ptr<KPXM_RECT, RectDeleter> zero(kimg_PixelRectCreate(1, 1, kpxmF64));
    LayerPtr layer(kimg_LayerOpen(name, nullptr, slot, kimgReadSharedAnyThread, kimgFillBeyondImage,
                                  zero.get(), kgdaLineMajorPacked, kimgWholePixelsThreadSafe,
                                  kimgFullResolution, kimgNoOverview));
    if (!layer)
        fail(file_, slot);
    return layer;
}

SampleForm ImageSamples::form() const {
    const KIMG_LAYER* part = second_ ? second_.get() : first_.get(); // never a packed word
    const std::uint32_t type = kimg_LayerPixelTypeGet(part);
    return {isComplex(), type == kpxmF32 || type == kpxmF64,
            static_cast<unsigned>(8 * kpxm::pixelSize(type)),
            type != kpxmU8 && type != kpxmU16 && type != kpxmU32};
}

void ImageSamples::readInto(KIMG_LAYER* layer, const Window& window, std::uint32_t type,
                            void* first, std::size_t pixelStride) const {
    const KGDA_DATA data{first,
                         window.height,
                         window.width,
                         type,
                         static_cast<std::ptrdiff_t>(pixelStride * window.width),
                         static_cast<std::ptrdiff_t>(pixelStride)};
    kerr::Slot slot;
    if (!kimg_LayerRead(layer, window.x, window.y, window.width, window.height, &data, slot))
        fail(file_, slot);
}

void ImageSamples::readParts(const Window& window, std::uint32_t partType, void* samples) const {
    const std::size_t part = kpxm::pixelSize(partType);
    readInto(first_.get(), window, partType, samples, 2 * part);
    readInto(second_.get(), window, partType, static_cast<char*>(samples) + part, 2 * part);
}

void ImageSamples::readComplex(const Window& window, void* samples) const {
    switch (type_) {
    case Type::real:
        throw loader::Error(file_ + ": its samples are not complex");
    case Type::complexInt16:
        if (oneBand_)
            return readInto(first_.get(), window, packedPair, samples, 4);
        if (kerr::Slot slot;
            !kimg::readPackedWords(first_.get(), second_.get(), window.x, window.y, window.width,
                                   window.height, static_cast<std::uint32_t*>(samples), slot))
            fail(file_, slot);
        return;
    case Type::complexFloat32:
        return oneBand_ ? readInto(first_.get(), window, kpxmC64, samples, 8)
                        : readParts(window, kpxmF32, samples);
    case Type::complexFloat64:
        return oneBand_ ? readInto(first_.get(), window, kpxmC128, samples, 16)
                        : readParts(window, kpxmF64, samples);
    }
}

void ImageSamples::readReal(const Window& window, std::span<double> values) const {
    readInto(first_.get(), window, kpxmF64, values.data(), sizeof(double));
}

std::uint64_t ImageSamples::missingBytes() const {
    kerr::Slot slot;
    const auto missing = kimg::missingBytes(first_.get(), slot);
    if (!missing)
        fail(file_, slot);
    return *missing;
}

void ImageSamples::readPower(const Window& window, std::span<double> power) const {
    const auto squares = [&]<class Part>(Part) {
        std::vector<std::complex<Part>> samples(power.size());
        readComplex(window, samples.data());
        for (std::size_t i = 0; i < power.size(); ++i) {
            const double re = static_cast<double>(samples[i].real());
            const double im = static_cast<double>(samples[i].imag());
            power[i] = re * re + im * im;
        }
    };
    switch (type_) {
    case Type::real:
        readReal(window, power);
        for (double& value : power)
            value *= value;
        return;
    case Type::complexInt16: {
        std::vector<std::uint32_t> words(power.size());
        readComplex(window, words.data());
        for (std::size_t i = 0; i < power.size(); ++i) {
            const double re = static_cast<std::int16_t>(words[i] & 0xFFFFU);
            const double im = static_cast<std::int16_t>(words[i] >> 16U);
            power[i] = re * re + im * im;
        }
        return;
    }
    case Type::complexFloat32:
        return squares(float{});
    case Type::complexFloat64:
        return squares(double{});
    }
}

} // namespace product
