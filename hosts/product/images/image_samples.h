// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/kimg.h"

#include <complex>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace product {

/// How a sample, or each part of a complex sample, is stored.
struct SampleForm {
    bool isComplex = false;
    bool isFloating = false;
    unsigned bits = 0;
    bool isSigned = false;
};

/// The samples of an image file as stored: real, or complex in one band or two. Move-only; reads
/// may run on many threads.
class ImageSamples {
public:
    enum class Type {
        real,
        complexInt16,
        complexFloat32,
        complexFloat64, ///< wider parts
    };

    /// @throws loader::Error naming the file when it cannot be opened.
    explicit ImageSamples(const std::string& file);

    const std::string& file() const { return file_; }
    Type type() const { return type_; }
    bool isComplex() const { return type_ != Type::real; }
    SampleForm form() const;
    std::uint32_t width() const { return kimg_LayerWidthGet(first_.get()); }
    std::uint32_t height() const { return kimg_LayerHeightGet(first_.get()); }
    std::uint32_t blockWidth() const { return kimg_LayerBlockWidthGet(first_.get()); }
    std::uint32_t blockHeight() const { return kimg_LayerBlockHeightGet(first_.get()); }
    /// The layer that knows the file's georeferencing.
    const KIMG_LAYER* layer() const { return first_.get(); }

    /// @return how many bytes the file lacks for its image; 0 when that cannot be told.
    std::uint64_t missingBytes() const;

    struct Window {
        std::uint32_t x, y, width, height;
    };

    /// Reads complex samples in their own type: pairs of int16, float or double, line by line.
    /// Samples outside the image are 0.
    /// @throws loader::Error naming the file and the reason.
    void readComplex(const Window& window, void* samples) const;
    /// Reads real samples as they are.
    void readReal(const Window& window, std::span<double> values) const;
    /// Reads squared magnitudes; for real samples their squares.
    void readPower(const Window& window, std::span<double> power) const;

private:
    struct Closer {
        void operator()(KIMG_LAYER* layer) const { kimg_LayerClose(layer); }
    };
    using LayerPtr = std::unique_ptr<KIMG_LAYER, Closer>;

    LayerPtr openLayer(std::u16string_view name) const;
    void readParts(const Window& window, std::uint32_t partType, void* samples) const;
    void readInto(KIMG_LAYER* layer, const Window& window, std::uint32_t type, void* first,
                  std::size_t pixelStride) const;

    std::string file_;
    LayerPtr first_;
    LayerPtr second_; ///< the imaginary part, null for real samples
    bool oneBand_ = false;
    Type type_ = Type::real;
};

} // namespace product
