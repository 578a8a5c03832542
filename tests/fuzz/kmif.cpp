// SPDX-License-Identifier: MIT
// Self-describing records as texts: dictionaries, nodes, and nodes of a design that is known.
#include "fuzz/require.h"
#include "fuzz/sections.h"
#include "kerr/kerr.h"
#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"

namespace {

using TextPtr = kmsc::HeapPtr<char16_t>;

void decodeDictionary(std::u16string_view text) {
    kerr::Slot slot;
    const kmif::DictionaryPtr dictionary(kmif_DictionaryDecodeFromString(text, slot));
    fuzz::require(!dictionary == static_cast<bool>(slot), "a refusal has a report, and only it");
    if (!dictionary)
        return;
    const TextPtr written(kmif_DictionaryEncodeToString(dictionary.get(), slot));
    const kmif::DictionaryPtr again(kmif_DictionaryDecodeFromString(written.get(), slot));
    fuzz::require(again != nullptr, "a written dictionary can be read");
    const TextPtr rewritten(kmif_DictionaryEncodeToString(again.get(), slot));
    fuzz::require(std::u16string_view(written.get()) == rewritten.get(),
                  "it reads back to the same");
}

void decodeNode(std::string_view text) {
    kerr::Slot slot;
    KmifNode node;
    const bool decoded = kmif_NodeFromText(text, &node, slot);
    fuzz::require(decoded != static_cast<bool>(slot), "a refusal has a report, and only it");
    if (!decoded)
        return;
    KmifNode again;
    const std::string written = kmif_NodeToText(node);
    fuzz::require(kmif_NodeFromText(written, &again, slot), "a written node can be read");
    fuzz::require(kmif_NodeToText(again) == written, "it reads back to the same");
}

/// One field of every form.
void decodeData(std::string_view json) {
    kerr::Slot slot;
    static const kmif::DesignPtr inner(
        kmif_DesignCreate(nullptr, "inner", {{kmifText, "text", 8}, {kmifInt64, "long"}}));
    static const kmif::DesignPtr design(kmif_DesignCreate(
        nullptr, "outer",
        {{kmifPadding, "padding", 3},
         {kmifUint32, "unsigned"},
         {kmifInline + kmifFloat64, "inline", 3},
         {kmifArray + kmifInt32, "array"},
         {kmifInt32, "count"},
         {kmifCounted + kmifFloat64, "counted"},
         {kmifInline + kmifNested, "nested", 2, inner.get()}}));
    KmifNode node;
    if (!kmif_NodeFromJson(design.get(), json, &node, slot))
        return;
    KmifNode again;
    const std::string written = kmif_NodeToJson(node);
    fuzz::require(kmif_NodeFromJson(design.get(), written, &again, slot) &&
                      kmif_NodeToJson(again) == written,
                  "data read back to the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    decodeDictionary(ktxt::widenLossy(text));
    decodeNode(text);
    decodeData(text);
    return 0;
}
