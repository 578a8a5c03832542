// SPDX-License-Identifier: MIT
#include "kimg/layer.h"

#include "kfnp/kfnp.h"
#include "kimg/kimg.h"
#include "ktxt/ktxt.h"

#include <gdal.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace {

using kimg::DatasetLease;
using kimg::ImageError;
using kimg::ImageFile;

/// The open layers by name and fill value. It owns them, also those that are no longer in the index
/// because their file has changed: they may still be in use.
class LayerTable {
public:
    static LayerTable& instance() {
        static auto* table = new LayerTable; // never destroyed: layers may outlive everything
        return *table;
    }

    /// @return the layer of that key and file, with one more user; null when there is none.
    KIMG_LAYER* use(const std::string& key, const ImageFile& file) {
        const std::lock_guard lock(mutex_);
        return useLocked(key, file);
    }

    /// Adds a layer, unless another thread was faster; replaces a layer of an older state of the
    /// file.
    KIMG_LAYER* add(std::unique_ptr<KIMG_LAYER> layer) {
        const std::lock_guard lock(mutex_);
        if (KIMG_LAYER* other = useLocked(layer->key, layer->file))
            return other;
        layer->users = 1;
        KIMG_LAYER* added = layer.get();
        auto& owned = owned_[added]; // allocate everything before taking ownership
        try {
            byKey_.insert_or_assign(added->key, added);
        } catch (...) {
            owned_.erase(added);
            throw;
        }
        owned = std::move(layer);
        return added;
    }

    void remove(const KIMG_LAYER* layer) {
        const std::lock_guard lock(mutex_);
        removeLocked(layer);
    }

    /// Frees the layer after its last user, and closes the file after its last layer.
    void endUse(KIMG_LAYER* layer) {
        std::string path;
        {
            const std::lock_guard lock(mutex_);
            if (--layer->users > 0)
                return;
            removeLocked(layer);
            path.swap(layer->file.path);
            owned_.erase(layer);
        }
        try {
            closeUnused(path);
        } catch (...) { // short memory: closed together with the next file
        }
    }

    void closeUnused(const std::string& path) {
        // The lock stays held, so that no layer of the file is added meanwhile.
        const std::lock_guard lock(mutex_);
        const bool used = std::any_of(owned_.begin(), owned_.end(), [&](const auto& owned) {
            return owned.second->file.path == path;
        });
        if (!used)
            kimg::closeIdleDatasets(path);
    }

private:
    KIMG_LAYER* useLocked(const std::string& key, const ImageFile& file) {
        const auto found = byKey_.find(key);
        if (found == byKey_.end() || found->second->file != file)
            return nullptr;
        ++found->second->users;
        return found->second;
    }

    void removeLocked(const KIMG_LAYER* layer) {
        const auto found = byKey_.find(layer->key);
        if (found != byKey_.end() && found->second == layer)
            byKey_.erase(found);
    }

    std::mutex mutex_;
    std::unordered_map<std::string, KIMG_LAYER*> byKey_;
    std::unordered_map<const KIMG_LAYER*, std::unique_ptr<KIMG_LAYER>> owned_;
};

std::string utf8FileName(std::u16string_view name) {
    if (name.empty())
        throw ImageError("the file name is empty");
    std::string path = kfnp::clean(ktxt::narrow(name));
    if (path.find('\0') != std::string::npos)
        throw ImageError(path + ": the file name holds a null character");
    return path;
}

struct LayerName {
    std::u16string_view file;
    int number; // from 1
};

LayerName parseLayerName(std::u16string_view name) {
    if (name.empty())
        throw ImageError("the layer name is empty");
    const auto hash = name.rfind(u'#');
    if (hash != std::u16string_view::npos) {
        const std::string digits = ktxt::narrow(name.substr(hash + 1));
        int number = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (error == std::errc() && end == digits.data() + digits.size() && number >= 1)
            return {name.substr(0, hash), number};
    }
    throw ImageError(ktxt::narrow(name) + ": not a layer name, it does not end in '#<number>'");
}

bool isComplexBand(GDALRasterBandH band) {
    return GDALDataTypeIsComplex(GDALGetRasterDataType(band)) != FALSE;
}

/// Sets a layer's band, and whether it is the imaginary part.
void findBand(KIMG_LAYER& layer, GDALDatasetH dataset, int number) {
    int left = number;
    for (int band = 1; band <= GDALGetRasterCount(dataset); ++band) {
        const int layers = isComplexBand(GDALGetRasterBand(dataset, band)) ? 2 : 1;
        if (left <= layers) {
            layer.band = band;
            layer.imaginary = left == 2;
            return;
        }
        left -= layers;
    }
    throw ImageError(layer.file.path + ": there is no layer " + std::to_string(number));
}

std::uint32_t hostPixelType(GDALDataType stored, bool signedByte) {
    switch (stored) {
    case GDT_Byte:
        return signedByte ? kpxmS8 : kpxmU8;
    case GDT_UInt16:
        return kpxmU16;
    case GDT_Int16:
        return kpxmS16;
    case GDT_UInt32:
        return kpxmU32;
    case GDT_Int32:
        return kpxmS32;
    case GDT_Float32:
        return kpxmF32;
    case GDT_CInt16:
        return kpxmU32; // the packed word
    case GDT_CFloat32:
        return kpxmC64;
    case GDT_CInt32:
    case GDT_CFloat64:
        return kpxmC128;
    default:
        break;
    }
    // Types of newer GDAL releases; older releases read them as one of those above.
    const std::string_view name = GDALGetDataTypeName(stored);
    if (name == "Int8")
        return kpxmS8;
    if (name == "Float16")
        return kpxmF32;
    if (name == "CFloat16")
        return kpxmC64;
    return kpxmF64; // Float64 and the 64-bit integers
}

bool isPixelInterleaved(GDALDatasetH dataset) {
    const char* interleave = GDALGetMetadataItem(dataset, "INTERLEAVE", "IMAGE_STRUCTURE");
    return GDALGetRasterCount(dataset) > 1 && interleave && EQUAL(interleave, "PIXEL");
}

/// Reading a block needs its size in memory a few times over.
constexpr double largestBlockBytes = 1 << 30;

void describeBand(KIMG_LAYER& layer, GDALDatasetH dataset) {
    const GDALRasterBandH band = GDALGetRasterBand(dataset, layer.band);
    const GDALDataType stored = GDALGetRasterDataType(band);
    const char* byteKind = GDALGetMetadataItem(band, "PIXELTYPE", "IMAGE_STRUCTURE");
    layer.storedType = stored;
    layer.signedByte = stored == GDT_Byte && byteKind && EQUAL(byteKind, "SIGNEDBYTE");
    layer.pixelType = hostPixelType(layer.imaginary ? GDALGetNonComplexDataType(stored) : stored,
                                    layer.signedByte);
    layer.storedAsIs = !layer.imaginary && stored != GDT_UInt64 && stored != GDT_Int64 &&
                       static_cast<int>(kpxm::pixelSize(layer.pixelType)) ==
                           GDALGetDataTypeSizeBytes(stored);
    layer.interleaved = isPixelInterleaved(dataset);
    layer.width = GDALGetRasterBandXSize(band);
    layer.height = GDALGetRasterBandYSize(band);
    GDALGetBlockSize(band, &layer.blockWidth, &layer.blockHeight);
    const double bytes = double{1} * layer.blockWidth * layer.blockHeight *
                         GDALGetDataTypeSizeBytes(stored);
    if (bytes > largestBlockBytes)
        throw ImageError(layer.file.path + ": its blocks of " + std::to_string(layer.blockWidth) +
                         " x " + std::to_string(layer.blockHeight) + " pixels are too large");
}

void requireKnownArguments(std::uint32_t access, std::uint32_t edge, const KPXM_RECT* fill,
                           std::uint32_t layout, std::uint32_t readMode, std::uint32_t reduction,
                           std::uint32_t overview) {
    const auto require = [](bool known, const char* what) {
        if (!known)
            throw ImageError(std::string(what) + " is not supported");
    };
    require(access == kimgReadSharedAnyThread, "this access");
    require(edge == kimgFillBeyondImage, "this edge policy");
    require(fill != nullptr, "opening without a fill rectangle");
    require(layout == kgdaLineMajorPacked, "this pixel layout");
    require(readMode == kimgWholePixelsThreadSafe, "this read mode");
    require(reduction == kimgFullResolution, "this reduction factor");
    require(overview == kimgNoOverview, "this overview");
}

KIMG_LAYER* openLayer(std::u16string_view name, double fill) {
    const auto [fileName, number] = parseLayerName(name);
    const ImageFile file = kimg::imageFileNow(utf8FileName(fileName));
    const std::string key = file.path + '#' + std::to_string(number) + '#' +
                            std::to_string(std::bit_cast<std::uint64_t>(fill));
    LayerTable& table = LayerTable::instance();
    if (KIMG_LAYER* known = table.use(key, file))
        return known;
    auto layer = std::make_unique<KIMG_LAYER>();
    layer->file = file;
    layer->fileName = fileName;
    layer->key = key;
    layer->fill = fill;
    const DatasetLease lease(file);
    findBand(*layer, lease.handle(), number);
    describeBand(*layer, lease.handle());
    return table.add(std::move(layer));
}

KstrStringList layerNames(std::u16string_view fileName) {
    const ImageFile file = kimg::imageFileNow(utf8FileName(fileName));
    const DatasetLease lease(file);
    int layers = 0;
    for (int band = 1; band <= GDALGetRasterCount(lease.handle()); ++band)
        layers += isComplexBand(GDALGetRasterBand(lease.handle(), band)) ? 2 : 1;
    if (layers == 0)
        throw ImageError(file.path + ": there is no image in the file");
    KstrStringList names;
    for (int n = 1; n <= layers; ++n)
        names.append(std::u16string(fileName) + ktxt::widen('#' + std::to_string(n)));
    return names;
}

} // namespace

KstrStringList kimg_LayerGetNames(std::u16string_view fileName, const void*, KERR_REPORT** slot) {
    return kerr::reported("kimg_LayerGetNames", slot, [&] { return layerNames(fileName); });
}

KIMG_LAYER* kimg_LayerOpen(std::u16string_view name, const void*, KERR_REPORT** slot,
                           std::uint32_t access, std::uint32_t edge, const KPXM_RECT* fillRectangle,
                           std::uint32_t layout, std::uint32_t readMode, std::uint32_t reduction,
                           std::uint32_t overview) {
    return kerr::reported("kimg_LayerOpen", slot, [&] {
        requireKnownArguments(access, edge, fillRectangle, layout, readMode, reduction, overview);
        return openLayer(name, kpxm_PixelRectPixelGet(fillRectangle, 0, 0).real());
    });
}

void kimg_LayerClose(KIMG_LAYER* layer) {
    if (layer)
        LayerTable::instance().endUse(layer);
}

void kimg::closeUnused(std::u16string_view fileName) {
    kerr::reported("kimg::closeUnused", nullptr, [&] {
        LayerTable::instance().closeUnused(utf8FileName(fileName));
        return true;
    });
}

void kimg_LayerTableRemove(KIMG_LAYER* layer) {
    if (layer)
        LayerTable::instance().remove(layer);
}

std::uint32_t kimg_LayerWidthGet(const KIMG_LAYER* layer) {
    return static_cast<std::uint32_t>(layer->width);
}

std::uint32_t kimg_LayerHeightGet(const KIMG_LAYER* layer) {
    return static_cast<std::uint32_t>(layer->height);
}

std::uint32_t kimg_LayerBlockWidthGet(const KIMG_LAYER* layer) {
    return static_cast<std::uint32_t>(layer->blockWidth);
}

std::uint32_t kimg_LayerBlockHeightGet(const KIMG_LAYER* layer) {
    return static_cast<std::uint32_t>(layer->blockHeight);
}

std::uint32_t kimg_LayerPixelTypeGet(const KIMG_LAYER* layer) {
    return layer->pixelType;
}

const char16_t* kimg_LayerFileNameGet(const KIMG_LAYER* layer) {
    return layer->fileName.c_str();
}

void KimgLayerHolder::reset(KIMG_LAYER* layer) {
    if (layer_ && removeTableOnRelease_)
        kimg_LayerTableRemove(layer_);
    if (layer_ && closeOnRelease_)
        kimg_LayerClose(layer_);
    layer_ = layer;
}
