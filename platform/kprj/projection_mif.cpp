// SPDX-License-Identifier: MIT
#include "kprj/kprj.h"

#include "kerr/reported.h"
#include "kmif/kmif.h"
#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "kprj/proj_session.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

namespace {

constexpr char designName[] = "Projection";

struct ProjectionRecord {
    double semiMajorAxis;
    double semiMinorAxis;
    double unitSize;
    std::int32_t isGeographic;
};

using kmif::DesignPtr;
using kmif::DictionaryPtr;
using TextPtr = kmsc::HeapPtr<char16_t>;

DesignPtr makeDesign(KmifDictionary* dictionary, KERR_REPORT** slot) {
    return DesignPtr(kmif_DesignCreate(dictionary, designName,
                                       {{kmifFloat64, "semiMajorAxis"},
                                        {kmifFloat64, "semiMinorAxis"},
                                        {kmifFloat64, "unitSize"},
                                        {kmifInt32, "isGeographic"}},
                                       slot));
}

ProjectionRecord recordOf(const KPRJ_PROJECTION& projection) {
    return {projection.semiMajorAxis, projection.semiMinorAxis, projection.unitSize,
            projection.isGeographic};
}

std::string jsonOf(const ProjectionRecord& record, const KmifDesign* design, KERR_REPORT** slot) {
    KmifNode node;
    return kmif_NodeCreate(&record, design, &node, slot) ? kmif_NodeToJson(node) : std::string();
}

/// Throws unless the record in the texts is that of the projection.
void requireRecord(const KprjMifTexts& texts, const KPRJ_PROJECTION& projection) {
    kerr::Slot slot;
    const DictionaryPtr dictionary(kmif_DictionaryDecodeFromString(texts.dictionary, slot));
    const DesignPtr design = makeDesign(nullptr, slot);
    KmifNode node;
    // Adding the design fails if the dictionary has a different one of that name.
    if (!dictionary || !design ||
        !kmif_DictionaryFindDesign(dictionary.get(), ktxt::narrow(texts.designName)) ||
        !kmif_DictionaryAddDesign(dictionary.get(), design.get(), slot) ||
        !kmif_NodeFromJson(design.get(), ktxt::narrow(texts.data), &node, slot))
        throw std::runtime_error("the record cannot be decoded: " + kerr_Text(slot.get()));
    if (kmif_NodeToJson(node) != jsonOf(recordOf(projection), design.get(), slot))
        throw std::runtime_error("the record contradicts the WKT");
}

void requireNames(const KprjMifTexts& texts, const KPRJ_PROJECTION& projection) {
    const auto differs = [](std::u16string_view text, const std::string& own) {
        return ktxt::narrow(text) != own;
    };
    if (differs(texts.projectionName, projection.name) ||
        differs(texts.unitsName, projection.units) || differs(texts.datumName, projection.datum) ||
        differs(texts.spheroidName, projection.spheroid) ||
        differs(texts.authority, projection.authority))
        throw std::runtime_error("the names contradict the WKT");
}

} // namespace

bool kprj_ProjectionConvertToMIF(const KPRJ_PROJECTION* projection, char16_t** projectionName,
                                 char16_t** unitsName, char16_t** datumName,
                                 char16_t** spheroidName, char16_t** authority, char16_t** wkt,
                                 char16_t** design, char16_t** dictionary, char16_t** data,
                                 KERR_REPORT** slot) {
    char16_t** const outputs[] = {projectionName, unitsName,  datumName,
                                  spheroidName,   authority,  wkt,
                                  design,         dictionary, data};
    for (char16_t** output : outputs)
        *output = nullptr;
    return kerr::reported(__func__, slot, [&] {
        if (!projection)
            throw std::runtime_error("there is no projection to convert");
        const DictionaryPtr holder(kmif_DictionaryCreate(slot));
        const DesignPtr own = holder ? makeDesign(holder.get(), slot) : nullptr;
        if (!own)
            return false;
        const std::string json = jsonOf(recordOf(*projection), own.get(), slot);
        if (json.empty())
            return false;
        const auto text = [](const std::string& from) {
            return TextPtr(kstr_Duplicate(ktxt::widen(from)));
        };
        TextPtr texts[] = {text(projection->name),
                           text(projection->units),
                           text(projection->datum),
                           text(projection->spheroid),
                           text(projection->authority),
                           text(projection->wkt),
                           text(designName),
                           TextPtr(kmif_DictionaryEncodeToString(holder.get(), slot)),
                           text(json)};
        for (const TextPtr& made : texts)
            if (!made)
                throw std::bad_alloc();
        for (std::size_t i = 0; i < std::size(outputs); ++i)
            *outputs[i] = texts[i].release();
        return true;
    });
}

KPRJ_PROJECTION* kprj_ProjectionFromMIF(const KprjMifTexts& texts, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&]() -> KPRJ_PROJECTION* {
        KprjProjectionPtr projection(kprj_ProjectionFromText(ktxt::narrow(texts.wkt), slot));
        if (!projection)
            return nullptr;
        requireNames(texts, *projection);
        requireRecord(texts, *projection);
        return projection.release();
    });
}
