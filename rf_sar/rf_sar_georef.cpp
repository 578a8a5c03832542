// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "entry_point.h"
#include "kstr/host_list.h"
#include "kimg/georeferencing.h"
#include "kimg/map_projection.h"
#include "kmif/kmif.h"
#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "messages.h"
#include "rf_sar_file.h"
#include "rf_sar_layer_cache.h"
#include "sarm_georef/sarm_georef.h"

#include <cmath>
#include <memory>

namespace {

constexpr char infoName[] = "rf_sarLayerMapInfoRead";
constexpr char projectionReadName[] = "rf_sarLayerMapProjectionRead";
constexpr char transformName[] = "rf_sarLayerMapToPixelTransformRead";

struct MapInfoFree {
    void operator()(KIMG_MAP_INFO* info) const { kimg_MapInfoFree(info); }
};
using TextPtr = kmsc::HeapPtr<char16_t>;

/// The pixel size with the sign of the axis, from the first pixel's centre to the last's.
double directed(double size, double first, double last) {
    return last > first ? std::abs(size) : -std::abs(size);
}

/// The sensor model's transform; null for products whose image file is the better source, and for
/// records without a model, which is logged.
KxfrXFormPtr sensorTransform(RF_SARFile& file, const char* function) {
    const SarMetadataRecord* record = sarMetadataOf(file);
    // Kept: Capella GEO is placed by its image although its reader supplies a record.
    // (Georeferencing.ComesFromTheRecordThenTheImageThenNowhere)
    if (!record || file.formatIndex == formatCapellaGeo)
        return nullptr;
    kerr::Slot slot;
    KxfrXFormPtr transform(sarm_CalibrateGetXform(0, record, slot));
    if (!transform)
        TolvanLog::Write(function, kerrWarning, "no sensor model: " + kerr_Text(slot.get()));
    return transform;
}

/// @return whether the image file states coordinates.
bool isPlaced(const KIMG_LAYER& image, KERR_REPORT** slot) {
    const auto stated = kimg::georeferencing(&image, slot);
    return stated && (stated->geoTransform || !stated->gcps.empty());
}

/// @return false when the image's projection could not be read; the report is in the slot.
bool findProjection(RF_SARLayer& layer, KprjProjectionPtr& found, KERR_REPORT** slot) {
    if (const KxfrXFormPtr transform = sensorTransform(*layer.file, projectionReadName)) {
        found.reset(sarm_CalibrateGetMapProjection(transform.get(), nullptr, nullptr, slot));
        return true;
    }
    if (layer.first) {
        found.reset(kimg_LayerMapProjectionRead(layer.first.get(), slot));
        if (*slot)
            return false;
        // Deviation: coordinates of a system that the image does not name are not called geographic.
        // (Georeferencing.ComesFromTheRecordThenTheImageThenNowhere)
        if (!found && isPlaced(*layer.first.get(), slot))
            return true;
    }
    // Kept: a layer that nothing places is geographic, with an empty transform.
    // (Georeferencing.ComesFromTheRecordThenTheImageThenNowhere)
    if (!found)
        found.reset(kprj_GeographicWgs84(slot));
    return true;
}

/// Reads the transform and the names of its map; returns false when the layer has none.
bool findTransform(RF_SARLayer& layer, KxfrXFormPtr& transform, TextPtr& projection, TextPtr& units,
                   KerrException& failure) {
    char16_t *name = nullptr, *unit = nullptr;
    transform = sensorTransform(*layer.file, transformName);
    if (transform) {
        // cppcheck-suppress unreadVariable ; only the texts are asked for
        const KprjProjectionPtr unused(
            sarm_CalibrateGetMapProjection(transform.get(), &name, &unit, failure.slot()));
    } else if (layer.first) {
        KxfrXForm* own = nullptr;
        kimg::LayerMapInformationRead(layer.first.get(), &own, &name, &unit, failure.slot());
        transform.reset(own);
    }
    projection.reset(name);
    units.reset(unit);
    failure.ThrowIfReported();
    return transform != nullptr;
}

/// A dictionary with one design, as text.
char16_t* dictionaryText(const KmifDesign* design, KerrException& failure) {
    const kmif::DictionaryPtr dictionary(kmif_DictionaryCreate(failure.slot()));
    failure.ThrowIfReported();
    kmif_DictionaryAddDesign(dictionary.get(), design, failure.slot());
    failure.ThrowIfReported();
    char16_t* text = kmif_DictionaryEncodeToString(dictionary.get(), failure.slot());
    failure.ThrowIfReported();
    return text;
}

struct TransformOutputs {
    char16_t** projectionName;
    char16_t** unitsName;
    uint32_t* count;
    char16_t*** arrays[5]; ///< from, to, data, dictionaries, designNames
};

uint32_t readTransform(RF_SARLayer& layer, const TransformOutputs& out, KerrException& failure) {
    KxfrXFormPtr transform;
    TextPtr projection, units;
    if (!findTransform(layer, transform, projection, units, failure))
        return 0;
    std::uint32_t count = 0;
    char16_t** given[3] = {};
    KmifDesign** described = nullptr;
    kxfr_XFormConvertToMIF(transform.get(), &count, &given[0], &given[1], &given[2], &described,
                           failure.slot());
    HostList from(given[0], count), to(given[1], count), data(given[2], count);
    const kmsc::HostArray<KmifDesign, kmif_DesignDestroy> designs(described, count);
    failure.ThrowIfReported();

    HostList dictionaries(count), names(count);
    if (!dictionaries || !names)
        failure.Throw(messages::noMemory);
    for (std::uint32_t i = 0; i < count; ++i) {
        dictionaries.take(dictionaryText(designs[i], failure));
        if (!names.append(ktxt::widen(kmif_DesignName(designs[i]))))
            failure.Throw(messages::noMemory);
    }
    HostList* lists[] = {&from, &to, &data, &dictionaries, &names};
    for (std::size_t i = 0; i < std::size(lists); ++i)
        *out.arrays[i] = lists[i]->release();
    *out.projectionName = projection.release();
    *out.unitsName = units.release();
    *out.count = count;
    return 0;
}

} // namespace

uint32_t rf_sarLayerMapInfoRead(RF_SARLayer* layer, char16_t** projectionName, double* upperLeftX,
                                double* upperLeftY, double* pixelSizeX, double* pixelSizeY,
                                char16_t** unitsName) {
    return entryPoint<uint32_t>(infoName, RF_SAR_FAILURE, [&](KerrException&) {
        if (lacksArgument(infoName, layer, projectionName, upperLeftX, upperLeftY, pixelSizeX,
                          pixelSizeY, unitsName))
            return RF_SAR_FAILURE;
        *projectionName = *unitsName = nullptr;
        *upperLeftX = *upperLeftY = *pixelSizeX = *pixelSizeY = 0;
        if (!layer->first)
            return uint32_t{0};
        // Kept: map information that cannot be read counts as none.
        // (MapInfo.ShortMemoryIsReportedAndLeavesNothing)
        kerr::Slot unprinted;
        const std::unique_ptr<KIMG_MAP_INFO, MapInfoFree> info(
            kimg_MapInfoRead(layer->first.get(), unprinted));
        if (!info)
            return uint32_t{0};
        TextPtr name(kstr_Duplicate(info->projectionName)), units(kstr_Duplicate(info->unitsName));
        if (!name || !units) {
            printFailure(infoName, messages::noMemory, nullptr);
            return RF_SAR_FAILURE;
        }
        *upperLeftX = info->upperLeftX;
        *upperLeftY = info->upperLeftY;
        *pixelSizeX = directed(info->pixelSizeX, info->upperLeftX, info->lowerRightX);
        *pixelSizeY = directed(info->pixelSizeY, info->upperLeftY, info->lowerRightY);
        *projectionName = name.release();
        *unitsName = units.release();
        return uint32_t{0};
    });
}

uint32_t rf_sarLayerMapProjectionRead(RF_SARLayer* layer, char16_t** projectionName,
                                      char16_t** unitsName, char16_t** datumName,
                                      char16_t** spheroidName, char16_t** authority, char16_t** wkt,
                                      char16_t** designName, char16_t** dictionary,
                                      char16_t** data) {
    return entryPoint<uint32_t>(projectionReadName, RF_SAR_FAILURE, [&](KerrException&) {
        if (lacksArgument(projectionReadName, layer, projectionName, unitsName, datumName,
                          spheroidName, authority, wkt, designName, dictionary, data))
            return RF_SAR_FAILURE;
        for (char16_t** text : {projectionName, unitsName, datumName, spheroidName, authority, wkt,
                                designName, dictionary, data})
            *text = nullptr;
        kerr::Slot slot;
        KprjProjectionPtr projection;
        if (!findProjection(*layer, projection, slot)) {
            printFailure(projectionReadName, messages::projectionReadFailed, slot.release());
            return RF_SAR_FAILURE;
        }
        if (!projection) {
            if (slot)
                kerr_PrintErrorReport(slot.get());
            return uint32_t{0};
        }
        if (!kprj_ProjectionConvertToMIF(projection.get(), projectionName, unitsName, datumName,
                                         spheroidName, authority, wkt, designName, dictionary, data,
                                         slot)) {
            printFailure(projectionReadName, messages::projectionToMifFailed, slot.release());
            return RF_SAR_FAILURE;
        }
        return uint32_t{0};
    });
}

uint32_t rf_sarLayerMapToPixelTransformRead(RF_SARLayer* layer, char16_t** projectionName,
                                            char16_t** unitsName, uint32_t* count, char16_t*** from,
                                            char16_t*** to, char16_t*** data,
                                            char16_t*** dictionaries, char16_t*** designNames) {
    return entryPoint<uint32_t>(transformName, RF_SAR_FAILURE, [&](KerrException& failure) {
        if (lacksArgument(transformName, layer, projectionName, unitsName, count, from, to, data,
                          dictionaries, designNames))
            return RF_SAR_FAILURE;
        const TransformOutputs out{
            projectionName, unitsName, count, {from, to, data, dictionaries, designNames}};
        *projectionName = *unitsName = nullptr;
        *count = 0;
        for (char16_t*** array : out.arrays)
            *array = nullptr;
        return readTransform(*layer, out, failure);
    });
}
