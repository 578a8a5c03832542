// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kgda/kgda.h"
#include "kpxm/kpxm.h"
#include "kstr/kstr.h"
#include "rf_platform_api.h"

#include <cstdint>
#include <string_view>

/// Layers of image files (GeoTIFF and NITF), read window by window. File names are local paths or
/// virtual paths (/vsizip/, /vsicurl/, /vsimem/, ...). Nothing is ever written beside an image.
///
/// Any thread may call anything here at any time, also on one layer; reads run in parallel. At
/// most 64 image files are kept open in the process, however many layers there are; a file more is
/// open only while it is read.
///
/// Failures put a report into the slot that names the file and the reason; a slot may be null. No
/// exception leaves these calls, nothing is printed.

/// An open layer, shared by all who opened the same name; belongs to this library.
struct KIMG_LAYER;

/// Lists the layers of an image file: one per band, in order, and two for a complex band: the
/// first yields its real, the second its imaginary part. A layer's name is "<file>#<n>", n from 1.
/// @param init  the host's initialisation handle, here and below; not looked at, may be null.
/// @return the names; never filled (count -1) when the file cannot be read.
RF_PLATFORM_API KstrStringList kimg_LayerGetNames(std::u16string_view fileName, const void* init,
                                                  KERR_REPORT** slot);

/// What kimg_LayerOpen may be asked for. The values are fixed; every other one is refused.
enum KimgAccess : std::uint32_t {
    kimgReadSharedAnyThread = 25, ///< read only, one layer for all openers, from any thread
};
enum KimgEdge : std::uint32_t {
    kimgFillBeyondImage = 6, ///< pixels outside the image take the value of the fill rectangle
};
enum KimgReadMode : std::uint32_t {
    kimgWholePixelsThreadSafe =
        4097, ///< all components of a pixel at once, reads may run in parallel
};
enum KimgReduction : std::uint32_t {
    kimgFullResolution = 1, ///< one pixel of the layer is one pixel of the image
};
enum KimgOverview : std::uint32_t {
    kimgNoOverview = 0, ///< the image itself, not one of its overviews
};

/// Opens a layer by a name from kimg_LayerGetNames. Opening the same name again gives the same
/// layer, unless the file has changed on disk in between (modification time, size or identity).
/// @param fillRectangle  its first pixel's real part fills beyond the image; only read here.
/// @param layout         kgdaLineMajorPacked.
/// @return the layer, to be closed with kimg_LayerClose or kept for good; null with a report.
RF_PLATFORM_API KIMG_LAYER* kimg_LayerOpen(std::u16string_view name, const void* init,
                                           KERR_REPORT** slot, std::uint32_t access,
                                           std::uint32_t edge, const KPXM_RECT* fillRectangle,
                                           std::uint32_t layout, std::uint32_t readMode,
                                           std::uint32_t reduction, std::uint32_t overview);

/// Ends one kimg_LayerOpen; the last one frees the layer, and the last layer of a file closes it.
/// Null is allowed.
RF_PLATFORM_API void kimg_LayerClose(KIMG_LAYER* layer);

/// Takes the layer out of the table of names: the next open of the name makes a new layer. The
/// layer itself stays valid until it is closed. Null is allowed.
RF_PLATFORM_API void kimg_LayerTableRemove(KIMG_LAYER* layer);

/// @return pixels of a line. The layer must not be null, here and below.
RF_PLATFORM_API std::uint32_t kimg_LayerWidthGet(const KIMG_LAYER* layer);
/// @return lines.
RF_PLATFORM_API std::uint32_t kimg_LayerHeightGet(const KIMG_LAYER* layer);
/// @return pixels of a line of the file's own blocks (tiles or strips).
RF_PLATFORM_API std::uint32_t kimg_LayerBlockWidthGet(const KIMG_LAYER* layer);
/// @return lines of such a block.
RF_PLATFORM_API std::uint32_t kimg_LayerBlockHeightGet(const KIMG_LAYER* layer);

/// @return the type that the layer holds without loss (KpxmPixelType). The real layer of a complex
///         band of 16-bit integers has u32: the packed word, low half real, high half imaginary,
///         both signed. Of other complex bands it has c64 or c128. The imaginary layer has the
///         type of the part. 64-bit integers, which the list lacks, have f64.
RF_PLATFORM_API std::uint32_t kimg_LayerPixelTypeGet(const KIMG_LAYER* layer);

/// @return the image file's name as it was given; the layer keeps it.
RF_PLATFORM_API const char16_t* kimg_LayerFileNameGet(const KIMG_LAYER* layer);

/// Reads the window of w by h pixels whose first pixel is (x, y), converted to the data's type:
/// integers are clamped to their range, fractions rounded to nearest, real types take the real
/// part. Complex types take both parts of a complex band's real layer; from any other layer the
/// imaginary part is 0. The window may lie anywhere; pixels outside the image take the fill value.
///
/// Windows made of whole blocks are fastest, and of these the single block of the layer's own type
/// in packed data: it goes from the file to the buffer without a copy.
/// @param data  h lines of w columns; any strides. All its pixels are 0 after a failure.
/// @return whether the window was read; false with a report otherwise.
RF_PLATFORM_API bool kimg_LayerRead(KIMG_LAYER* layer, std::int64_t x, std::int64_t y,
                                    std::uint32_t w, std::uint32_t h, const KGDA_DATA* data,
                                    KERR_REPORT** slot);

namespace kimg {

/// Closes what is kept open of an image file for its next use, if no layer of it is open.
RF_PLATFORM_API void closeUnused(std::u16string_view fileName);

/// Reads a window of two layers that hold the real and the imaginary part as 16-bit integers, as
/// packed words: low half real, high half imaginary, both signed, as the one layer of a complex
/// band gives them. Elsewhere the same as reading both layers as s16, but where the two are
/// interleaved without compression, pixels go from the file to the buffer without a copy.
/// @param words  w * h words, line after line; all 0 after a failure.
/// @return as kimg_LayerRead; false with a report too when a layer's own type is not s16.
RF_PLATFORM_API bool readPackedWords(KIMG_LAYER* real, KIMG_LAYER* imaginary, std::int64_t x,
                                     std::int64_t y, std::uint32_t w, std::uint32_t h,
                                     std::uint32_t* words, KERR_REPORT** slot);

} // namespace kimg

/// Holds a layer and releases it as the flags say; both are off by default, so that a layer stays
/// open beyond its holder. An all-zero holder is a valid empty one.
class RF_PLATFORM_API KimgLayerHolder {
public:
    KimgLayerHolder() = default;
    KimgLayerHolder(const KimgLayerHolder&) = delete;
    KimgLayerHolder& operator=(const KimgLayerHolder&) = delete;
    ~KimgLayerHolder() { reset(); }

    /// Releases what is held and holds `layer` instead; the flags stay as they are.
    void reset(KIMG_LAYER* layer = nullptr);
    KIMG_LAYER* get() const { return layer_; }
    explicit operator bool() const { return layer_ != nullptr; }

    void closeOnRelease(bool on) { closeOnRelease_ = on; }
    void removeTableOnRelease(bool on) { removeTableOnRelease_ = on; }

private:
    KIMG_LAYER* layer_ = nullptr;
    bool closeOnRelease_ = false;
    bool removeTableOnRelease_ = false;
};
