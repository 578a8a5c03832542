// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "rf_platform_api.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

/// Self-describing records. A *design* names the fields of a C structure, a *dictionary* holds
/// designs and travels as text, a *node* (kmif_node.h) is a design with the data it describes.
///
/// Layout. Fields stand in the order of the structure, each at the next offset that is a multiple
/// of its alignment; the size is rounded up to the largest alignment: what a C++ compiler does, so
/// that a structure's own padding needs no field. A type code is an element code, alone or added to
/// one of the three forms:
///
///     form                    memory                                       JSON
///     (alone)                 one element                                  the element
///     kmifInline  + element   `count` elements                             array
///     kmifArray   + element   {int32 count, 4 bytes padding, pointer}      array
///     kmifCounted + element   pointer; the field before it, an int32,      array, beside the
///                             holds the count                              count's own number
///
/// Pointed-to elements lie one after the other. A null pointer is an empty array whatever its
/// count says.
///
/// Names are UTF-8. Designs and dictionaries are blocks of the host heap and never change once
/// made, apart from kmif_DictionaryAddDesign; different threads may use the same ones meanwhile.

enum KmifCode : int {
    kmifPadding = 1,  ///< `count` bytes that no one outside the owner reads; not in the JSON
    kmifText = 4,     ///< `count` bytes of UTF-8, filled up with NUL; a JSON string
    kmifInt32 = 8,    ///< JSON number, like the two below
    kmifUint32 = 9,   //
    kmifInt64 = 10,   //
    kmifFloat64 = 14, ///< JSON number in the shortest text that reads back to the same double;
                      ///< "NaN", "INF" and "-INF" as strings
    kmifNested = 20,  ///< a structure with a design of its own; alone or kmifInline; JSON object

    kmifInline = 256,
    kmifArray = 512,
    kmifCounted = 1024,
};

/// Limits for designs, so that foreign texts cannot ask for more: bytes of a structure (without
/// what its pointers lead to), and nesting of designs.
constexpr std::size_t kmifMaxStructureBytes = std::size_t{1} << 20;
constexpr int kmifMaxDepth = 16;

struct KmifDesign;
struct KmifDictionary;

/// One field as kmif_DesignCreate takes it: {14, "offset"}, {526, "gains"},
/// {kmifInline + kmifFloat64, "coefficients", 6}, {kmifNested, "polynomial", 1, design}.
struct KmifField {
    int code;
    std::string_view name;
    std::size_t count = 1;              ///< of kmifPadding, kmifText and kmifInline; else 1
    const KmifDesign* nested = nullptr; ///< of kmifNested; copied
};

/// @return an empty dictionary that the caller destroys; null with a report when memory is short.
RF_PLATFORM_API KmifDictionary* kmif_DictionaryCreate(KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kmif_DictionaryDestroy(KmifDictionary* dictionary);

/// Makes a design and adds a copy of it to the dictionary, which may be null.
/// @return the design, which the caller destroys; null with a report when a field's code is
///         unknown, its count or nested design does not fit the code, a name is empty, repeated or
///         not UTF-8, the structure is too large or too deep, the dictionary has another design
///         of the name, or memory is short.
RF_PLATFORM_API KmifDesign* kmif_DesignCreate(KmifDictionary* dictionary, std::string_view name,
                                              std::initializer_list<KmifField> fields,
                                              KERR_REPORT** slot = nullptr);
/// Null is allowed. Dictionaries, designs and nodes hold copies and are not affected.
RF_PLATFORM_API void kmif_DesignDestroy(KmifDesign* design);

/// @param design  not null, here and below. @return the name that the design was made with, owned
///        by the design.
RF_PLATFORM_API const std::string& kmif_DesignName(const KmifDesign* design);
/// @return bytes of the structure, without what its pointers lead to.
RF_PLATFORM_API std::size_t kmif_DesignSize(const KmifDesign* design);

/// Adds a copy; the same design again changes nothing.
/// @return false with a report when another design has the name, or memory is short.
RF_PLATFORM_API bool kmif_DictionaryAddDesign(KmifDictionary* dictionary, const KmifDesign* design,
                                              KERR_REPORT** slot);
/// @param dictionary  not null. @return the design of that name, owned by the dictionary; null when
///        there is none.
RF_PLATFORM_API const KmifDesign* kmif_DictionaryFindDesign(const KmifDictionary* dictionary,
                                                            std::string_view name);

/// Writes the dictionary as JSON, designs in the order they were added:
///
///     {"kmif":1,"designs":[{"name":"N","fields":[{"code":14,"name":"offset"},
///      {"code":270,"name":"coefficients","count":6},
///      {"code":20,"name":"inner","design":{"name":"I","fields":[...]}}]}]}
///
/// "count" stands where the code uses one. Equal dictionaries give equal texts.
/// @return a terminated host-heap string that the caller frees; null with a report.
RF_PLATFORM_API char16_t* kmif_DictionaryEncodeToString(const KmifDictionary* dictionary,
                                                        KERR_REPORT** slot);
/// @return the dictionary that the text describes, which the caller destroys; null with a report
///         when the text is anything but what kmif_DictionaryEncodeToString writes.
RF_PLATFORM_API KmifDictionary* kmif_DictionaryDecodeFromString(std::u16string_view text,
                                                                KERR_REPORT** slot);

namespace kmif {

struct Destroyer {
    void operator()(KmifDesign* design) const { kmif_DesignDestroy(design); }
    void operator()(KmifDictionary* dictionary) const { kmif_DictionaryDestroy(dictionary); }
};
using DesignPtr = std::unique_ptr<KmifDesign, Destroyer>;
using DictionaryPtr = std::unique_ptr<KmifDictionary, Destroyer>;

} // namespace kmif
