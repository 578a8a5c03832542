// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "entry_point.h"
#include "kgda/kgda.h"
#include "kmsc/kmsc.h"
#include "kpxm/kpxm.h"
#include "messages.h"
#include "pixel_conversion.h"
#include "rf_sar_file.h"
#include "rf_sar_layer.h"
#include "sample_buffer.h"

#include <memory>

namespace {

constexpr char readName[] = "rf_sarLayerRasterRead";

struct DataDeleter {
    void operator()(KGDA_DATA* data) const { kgda_BaseDataDelete(data); }
};
using DataPtr = std::unique_ptr<KGDA_DATA, DataDeleter>;

struct Window {
    std::int64_t x;
    std::int64_t y;
    std::uint32_t width;
    std::uint32_t height;

    std::size_t pixels() const { return std::size_t{width} * height; }
};

uint32_t readDetected(RF_SARLayer& layer, const Window& window, void** block) {
    kerr::Slot slot;
    const DataPtr data(kgda_BaseDataCreate(window.height, window.width, kpxmU16,
                                           kgdaLineMajorPacked, *block, slot));
    const char* failed = nullptr;
    if (!data || slot)
        failed = messages::baseDataCreateFailed;
    else if (!layer.wrongKind.empty()) {
        kerr::raise(slot, readName, layer.wrongKind);
        failed = messages::rasterReadFailed;
    } else if (!kimg_LayerRead(layer.first.get(), window.x, window.y, window.width, window.height,
                               data.get(), slot))
        failed = messages::rasterReadFailed;
    if (!failed)
        return 0;
    printFailure(readName, failed, slot.release());
    return RF_SAR_FAILURE;
}

// Kept: read errors of complex layers do not fail the call. They are logged, so that a host that
// listens can tell zeros that were read from zeros that were not.
// (LayerRead.FailedComplexReadIsLoggedAndAnswersZero)
void logFailure(bool done, const kerr::Slot& slot) {
    if (!done && slot)
        TolvanLog::Write(*slot.get());
}

/// Reads the window of one source; zeros after a failure.
void readSource(const KimgLayerHolder& source, const Window& window, std::uint32_t pixelType,
                void* pixels) {
    const auto size = static_cast<std::ptrdiff_t>(kpxm::pixelSize(pixelType));
    const KGDA_DATA data{pixels, window.height, window.width, pixelType, size * window.width, size};
    kerr::Slot slot;
    logFailure(
        kimg_LayerRead(source.get(), window.x, window.y, window.width, window.height, &data, slot),
        slot);
}

/// Reads both parts as packed words; zeros after a failure.
void readWords(const RF_SARLayer& layer, const Window& window, std::uint32_t* words) {
    if (!layer.second)
        return readSource(layer.first, window, kpxmU32, words);
    kerr::Slot slot;
    logFailure(kimg::readPackedWords(layer.first.get(), layer.second.get(), window.x, window.y,
                                     window.width, window.height, words, slot),
               slot);
}

/// @return whether the parts are 16-bit integers, in one band or two.
bool holdsWords(const RF_SARLayer& layer) {
    const auto isOf = [](const KimgLayerHolder& source, std::uint32_t type) {
        return kimg_LayerPixelTypeGet(source.get()) == type;
    };
    return layer.second ? isOf(layer.first, kpxmS16) && isOf(layer.second, kpxmS16)
                        : isOf(layer.first, kpxmU32);
}

uint32_t readComplex(const RF_SARLayer& layer, const Window& window, void* block) {
    using namespace pixel_conversion;
    if (!block)
        return 0;
    const Output out{block, std::ptrdiff_t{2} * window.width, 2};
    const Quantity quantity = sarLayer::isMagnitude(layer) ? Quantity::magnitude : Quantity::phase;
    const double scale = layer.file->reader->magnitudeScale;
    const SampleBuffer samples(window.pixels());

    if (holdsWords(layer)) {
        auto* words = samples.as<std::uint32_t>();
        readWords(layer, window, words);
        fromPacked(words, window.width, window.height, quantity, scale, out);
    } else if (!layer.second) {
        // One band of another complex type: the same rule for its floating-point parts.
        auto* parts = samples.as<float>();
        readSource(layer.first, window, kpxmC64, parts);
        fromPairs(parts, window.width, window.height, quantity, scale, out);
    } else {
        auto* real = samples.as<float>();
        auto* imaginary = real + window.pixels();
        readSource(layer.first, window, kpxmF32, real);
        readSource(layer.second, window, kpxmF32, imaginary);
        fromBands(real, imaginary, window.width, window.height, quantity, scale, out);
    }
    return 0;
}

} // namespace

uint32_t rf_sarLayerRasterRead(RF_SARLayer* layer, uint32_t blockRow, uint32_t blockColumn,
                               void** block) {
    const auto status = entryPoint<uint32_t>(readName, RF_SAR_FAILURE, [&](KerrException&) {
        if (lacksArgument(readName, layer, block))
            return RF_SAR_FAILURE;
        const sarLayer::BlockShape shape = sarLayer::blockShape(*layer);
        const Window window{std::int64_t{shape.width} * blockColumn,
                            std::int64_t{shape.height} * blockRow, shape.width, shape.height};
        return layer->file->reader->isComplex ? readComplex(*layer, window, *block)
                                              : readDetected(*layer, window, block);
    });
    if (status != 0 && block)
        *block = nullptr;
    return status;
}
