// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kstr/host_list.h"

#include <array>
#include <span>

namespace {

struct Format {
    std::u16string_view title;
    std::u16string_view shortName;
    std::u16string_view extension;
    std::u16string_view magic;
    std::u16string_view fileTemplate;
};

constexpr std::u16string_view xmlMagic = u"0\tstring\t\\<?xml";

constexpr std::array<Format, 5> formats = {{
    {u"Capella GEO", u"json", u".json", u"", u"CAPELLA*GEO*.json"},
    {u"Capella SLC", u"json", u".json", u"", u"CAPELLA*SLC*.json"},
    {u"Radarsat Constellation Mission", u"xml", u".xml", xmlMagic, u"product*.xml"},
    {u"RADARSAT-2", u"xml", u".xml", xmlMagic, u"product*.xml"},
    {u"Capella GRD", u"json", u".json", u"", u"CAPELLA*GRD*.json"},
}};

constexpr std::array<std::u16string_view, 3> layerTypes = {u"thematic", u"athematic", u"fft"};

constexpr std::array<std::u16string_view, 13> pixelTypes = {
    u"u1",  u"u2",  u"u4",  u"u8",  u"s8",  u"u16", u"s16",
    u"u32", u"s32", u"f32", u"f64", u"c64", u"c128"};

constexpr std::u16string_view description = u"SAR file raster DLL";

/// If a text cannot be copied, the list ends there; the count, which is optional, says where.
/// @param toText  maps an element to the text to list.
template <class Elements, class ToText>
std::uint32_t handOut(const Elements& elements, ToText toText, std::uint32_t* count,
                      char16_t*** list) {
    if (!list)
        return RF_SAR_FAILURE;
    HostList texts(elements.size());
    for (const auto& element : elements)
        if (!texts.append(toText(element)))
            break;
    if (count)
        *count = texts.count();
    *list = texts.release();
    return 0;
}

constexpr auto asItIs = [](std::u16string_view text) { return text; };

} // namespace

uint32_t rf_sarInstanceTitleListGet(uint32_t* count, char16_t*** titles) {
    return handOut(formats, [](const Format& f) { return f.title; }, count, titles);
}

uint32_t rf_sarInstanceShortNameListGet(char16_t*** shortNames) {
    return handOut(formats, [](const Format& f) { return f.shortName; }, nullptr, shortNames);
}

uint32_t rf_sarInstanceExtListGet(char16_t*** extensions) {
    return handOut(formats, [](const Format& f) { return f.extension; }, nullptr, extensions);
}

uint32_t rf_sarInstanceMagicListGet(char16_t*** magics) {
    return handOut(formats, [](const Format& f) { return f.magic; }, nullptr, magics);
}

uint32_t rf_sarInstanceTemplateListGet(char16_t*** templates, uint8_t** flags) {
    if (!templates || !flags)
        return RF_SAR_FAILURE;
    constexpr std::array<std::uint8_t, formats.size()> noFlags = {};
    *flags = static_cast<uint8_t*>(kmsc_MemDup(noFlags.data(), noFlags.size()));
    return handOut(formats, [](const Format& f) { return f.fileTemplate; }, nullptr, templates);
}

uint32_t rf_sarInstanceLayerTypesGet(uint32_t* count, char16_t*** types) {
    return handOut(layerTypes, asItIs, count, types);
}

uint32_t rf_sarInstancePixelTypesGet(uint32_t* count, char16_t*** types) {
    return handOut(pixelTypes, asItIs, count, types);
}

uint32_t rf_sarInstanceDescriptionGet(char16_t** text) {
    if (!text)
        return RF_SAR_FAILURE;
    *text = kstr_Duplicate(description);
    return *text ? 0 : RF_SAR_FAILURE;
}

uint32_t rf_sarInstanceIsThreadsafe(void) { return 1; }
uint32_t rf_sarInstanceSupportsUnicode(void) { return 1; }
