// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "entry_point.h"
#include "kint/kint.h"
#include "kmsc/kmsc.h"
#include "kpxm/kpxm.h"
#include "messages.h"
#include "rf_sar_file.h"
#include "rf_sar_layer.h"

#include <boost/thread/locks.hpp>

#include <cmath>
#include <memory>

bool sarLayer::isMagnitude(const RF_SARLayer& layer) {
    return (layer.number & 1U) != 0;
}

sarLayer::BlockShape sarLayer::blockShape(const RF_SARLayer& layer) {
    if (layer.oneLineAsBlock)
        return {kimg_LayerWidthGet(layer.first.get()), 1};
    return {kimg_LayerBlockWidthGet(layer.first.get()),
            kimg_LayerBlockHeightGet(layer.first.get())};
}

namespace {

constexpr char openName[] = "rf_sarLayerOpen";
constexpr std::u16string_view oneLineWord = u"OneLineAsBlock";
constexpr std::uint32_t athematic = 1; // row of the layer-type list

struct RectDeleter {
    void operator()(KPXM_RECT* rect) const { kpxm_PixelRectDelete(rect); }
};
using RectPtr = std::unique_ptr<KPXM_RECT, RectDeleter>;

struct LayerDeleter {
    void operator()(RF_SARLayer* layer) const { destroyLayer(layer); }
};

/// The number after the last "_", plus one for a name that asks for line blocks.
void parseName(RF_SARLayer& layer, const KtxtTextU& name) {
    const std::u16string_view text = name;
    layer.name = name;
    layer.number = static_cast<std::uint32_t>(ktxt_Text_atol(text.substr(text.rfind(u'_') + 1)));
    layer.oneLineAsBlock = text.find(oneLineWord) != std::u16string_view::npos;
    layer.number += layer.oneLineAsBlock;
}

std::uint32_t typeByParity(const RF_SARLayer& layer) {
    return sarLayer::isMagnitude(layer) ? kpxmU16 : kpxmS16;
}

struct OpenOutputs {
    uint32_t* pixelType;
    uint32_t* width;
    uint32_t* height;
    uint32_t* reserved;
    uint32_t* blockWidth;
    uint32_t* blockHeight;
};

void report(const RF_SARLayer& layer, std::uint32_t pixelType, const OpenOutputs& out) {
    const sarLayer::BlockShape block = sarLayer::blockShape(layer);
    *out.pixelType = pixelType;
    *out.width = kimg_LayerWidthGet(layer.first.get());
    *out.height = kimg_LayerHeightGet(layer.first.get());
    *out.reserved = 0;
    *out.blockWidth = block.width;
    *out.blockHeight = block.height;
}

KIMG_LAYER* openSource(const KstrStringList& names, int i, const KPXM_RECT* fill,
                       KerrException& failure) {
    KIMG_LAYER* source = kimg_LayerOpen(
        names[i], kint_GetInit(), failure.slot(), kimgReadSharedAnyThread, kimgFillBeyondImage,
        fill, kgdaLineMajorPacked, kimgWholePixelsThreadSafe, kimgFullResolution, kimgNoOverview);
    if (!source || *failure.slot())
        failure.Throw(messages::layerOpenFailed);
    return source;
}

/// The layer's image file: one file per polarization, with two layers each if complex.
/// @throws std::out_of_range, which hosts rely on.
const std::u16string& imageOf(const RF_SARLayer& layer) {
    const imageMetadata& reader = *layer.file->reader;
    const double index = reader.isComplex
                             ? std::floor((static_cast<double>(layer.number) - 1) * 0.5)
                             : static_cast<double>(layer.number) - 1;
    return reader.referencedFiles.at(index < 0 ? reader.referencedFiles.size()
                                               : static_cast<std::size_t>(index));
}

/// @return why the image's samples do not suit the layer; empty when they do. They would be read
///         without their other part, or real samples as complex.
std::string wrongKind(const RF_SARLayer& layer, const KstrStringList& names) {
    const imageMetadata& reader = *layer.file->reader;
    const std::uint32_t type = kimg_LayerPixelTypeGet(layer.first.get());
    const bool inOneBand =
        names.count() == 2 && (type == kpxmU32 || type == kpxmC64 || type == kpxmC128);
    const bool asStated = names.count() == (reader.isComplex ? 2 : 1) &&
                          (!reader.isComplex || reader.complexInOneBand != 1 || inOneBand);
    if (asStated)
        return "";
    return ktxt::narrow(imageOf(layer)) + ": holds " +
           (inOneBand ? "complex samples in one band"
                      : std::to_string(names.count()) + " real bands") +
           ", but the layer's samples are " + (reader.isComplex ? "complex" : "detected");
}

void openSources(RF_SARLayer& layer, KerrException& failure) {
    const imageMetadata& reader = *layer.file->reader;
    const RectPtr fill(kimg_PixelRectCreate(1, 1, kpxmF64));
    if (fill)
        kpxm_PixelRectPixelSet(fill.get(), 0, 0, 0.0);
    const KstrStringList names = kimg_LayerGetNames(imageOf(layer), kint_GetInit(), failure.slot());
    if (*failure.slot())
        failure.Throw(messages::layerOpenFailed);
    layer.first.closeOnRelease(true);
    layer.second.closeOnRelease(true);
    layer.first.reset(openSource(names, 0, fill.get(), failure));
    // Deviation: a detected layer over such an image, as RCM's complex ground-range products have
    // it, opens for its place on the ground, and refuses to be read.
    // (LayerOpen.ImagesOfAnotherKindYieldNoSamples)
    layer.wrongKind = wrongKind(layer, names);
    if (reader.isComplex && !layer.wrongKind.empty()) {
        kerr::raise(failure.slot(), openName, layer.wrongKind);
        failure.Throw(messages::layerOpenFailed);
    }
    if (reader.isComplex && reader.complexInOneBand != 1)
        layer.second.reset(openSource(names, 1, fill.get(), failure));
}

uint32_t openLayer(RF_SARFile* file, const char16_t* name, const OpenOutputs& out,
                   RF_SARLayer** opened, KerrException& failure) {
    auto* cache = rf_sarLayerCache::Instance();
    if (RF_SARLayer* cached = cache->FindAndCount(name, file)) {
        // Kept: a cache hit reports the type by number parity even for detected products, so
        // layer 2 is "u16" on first open and "s16" afterwards. Hosts see it.
        // (LayerOpen.CacheHitTypeFollowsParity)
        report(*cached, typeByParity(*cached), out);
        *opened = cached;
        return 0;
    }
    std::unique_ptr<RF_SARLayer, LayerDeleter> layer(createLayer());
    if (!layer)
        failure.Throw("No memory");
    layer->file = file;
    parseName(*layer, name);
    openSources(*layer, failure);
    report(*layer, file->reader->isComplex ? typeByParity(*layer) : std::uint32_t{kpxmU16}, out);
    RF_SARLayer* other = cache->FindAndCountOrAdd(layer.get());
    *opened = other ? other : layer.release();
    return 0;
}

} // namespace

uint32_t rf_sarLayerOpen(RF_SARFile* file, const char16_t* name, uint32_t* pixelType,
                         uint32_t* width, uint32_t* height, uint32_t* reserved,
                         uint32_t* blockWidth, uint32_t* blockHeight, RF_SARLayer** layer) {
    const OpenOutputs out{pixelType, width, height, reserved, blockWidth, blockHeight};
    try {
        KerrException failure("rf_sar", openName);
        try {
            if (lacksArgument(openName, file, name, pixelType, width, height, reserved, blockWidth,
                              blockHeight, layer))
                return RF_SAR_FAILURE;
            return openLayer(file, name, out, layer, failure);
        } catch (const std::out_of_range&) {
            throw; // Kept: the one error that hosts catch themselves.
                   // (LayerOpen.NumbersBeyondTheProductAreOutOfRange)
        } catch (const KerrException& error) {
            kerr_PrintErrorReport(error.report());
        } catch (const std::exception& error) {
            printFailure(openName, error.what(), nullptr);
        }
    } catch (const std::bad_alloc&) {
        // there is no memory left to log it
    }
    return RF_SAR_FAILURE;
}

uint32_t rf_sarLayerClose(RF_SARLayer* layer) {
    if (!layer)
        return 0;
    bool last = false;
    {
        // The lock is part of the layer, so the layer is freed after the lock is released.
        const boost::lock_guard<boost::mutex> closing(layer->lock);
        last = rf_sarLayerCache::EndUse(layer);
    }
    if (last)
        destroyLayer(layer);
    return 0;
}

uint32_t rf_sarLayerLayerTypeRead(RF_SARLayer*, uint32_t* type) {
    if (!type)
        return RF_SAR_FAILURE;
    *type = athematic;
    return 0;
}
