// SPDX-License-Identifier: MIT
#include "kimg/map_projection.h"

#include "kerr/reported.h"
#include "kimg/georeferencing.h"
#include "kmsc/kmsc.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

namespace {

using kimg::Georeferencing;

/// Adds the file's name to what the slot holds.
void nameFile(const KIMG_LAYER* layer, std::string_view what, KERR_REPORT** slot) {
    const std::string file = ktxt::narrow(kimg_LayerFileNameGet(layer));
    kerr::raise(slot, "kimg::LayerMapInformationRead", file + ": " + std::string(what));
}

/// @return null without a report when the image states no system, null with one when it is no map
///         system.
KprjProjectionPtr projectionOf(const KIMG_LAYER* layer, const Georeferencing& found,
                               KERR_REPORT** slot) {
    if (found.wkt.empty())
        return nullptr;
    KprjProjectionPtr projection(kprj_ProjectionFromText(found.wkt, slot));
    if (!projection)
        nameFile(layer, "its coordinate system cannot be used", slot);
    return projection;
}

/// Ties count from the outer corner in the file, but from the first pixel's centre in transforms.
std::vector<KxfrTie> tiesOf(const Georeferencing& found) {
    std::vector<KxfrTie> ties;
    for (const kimg::GroundControlPoint& point : found.gcps)
        ties.push_back({{point.pixel - 0.5, point.line - 0.5}, point.x, point.y});
    return ties;
}

KxfrXFormPtr transformOf(const KIMG_LAYER* layer, const Georeferencing& found,
                         const KPRJ_PROJECTION* projection, KERR_REPORT** slot) {
    const bool degrees = projection && projection->isGeographic && projection->units == "degrees";
    const KxfrMap map = degrees ? KxfrMap::degrees : KxfrMap::plane;
    if (found.geoTransform)
        return KxfrXFormPtr(kxfr_XFormFromAffine(*found.geoTransform, kimg_LayerWidthGet(layer),
                                                 kimg_LayerHeightGet(layer), map, slot));
    return KxfrXFormPtr(kxfr_XFormFromTies(tiesOf(found), map, slot));
}

kmsc::HeapPtr<char16_t> copyOf(const std::string& text) {
    kmsc::HeapPtr<char16_t> copy(kstr_Duplicate(ktxt::widen(text)));
    if (!copy)
        throw std::bad_alloc();
    return copy;
}

} // namespace

KPRJ_PROJECTION* kimg_LayerMapProjectionRead(KIMG_LAYER* layer, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&]() -> KPRJ_PROJECTION* {
        const auto found = kimg::georeferencing(layer, slot);
        return found ? projectionOf(layer, *found, slot).release() : nullptr;
    });
}

bool kimg::LayerMapInformationRead(KIMG_LAYER* layer, KxfrXForm** transform,
                                   char16_t** projectionName, char16_t** unitsName,
                                   KERR_REPORT** slot) {
    *transform = nullptr;
    *projectionName = *unitsName = nullptr;
    return kerr::reported("kimg::LayerMapInformationRead", slot, [&] {
        const auto found = georeferencing(layer, slot);
        if (!found || (!found->geoTransform && found->gcps.empty()))
            return false;
        const KprjProjectionPtr projection = projectionOf(layer, *found, slot);
        if (!projection && !found->wkt.empty())
            return false;
        KxfrXFormPtr made = transformOf(layer, *found, projection.get(), slot);
        if (!made) {
            nameFile(layer, "its georeferencing cannot be used", slot);
            return false;
        }
        auto name = copyOf(projection ? projection->name : "Unknown");
        auto units = copyOf(projection ? projection->units : "Unknown");
        *transform = made.release();
        *projectionName = name.release();
        *unitsName = units.release();
        return true;
    });
}
