// SPDX-License-Identifier: MIT
#pragma once

#include "jsonlib/jsonlib.h"
#include "kerr/reported.h"
#include "kmif/kmif.h"

#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

/// The library's own form of designs; hosts use kmif.h. Functions here throw TolvanLog::Exception
/// for bad content and std::bad_alloc when memory is short.

namespace kmif {

/// Objects on the host heap, so that its shortage, real or injected, affects them.
struct HeapObject {
    static void* operator new(std::size_t size);
    static void operator delete(void* block);
};

/// A field placed in its structure.
struct PlacedField {
    int code = 0;
    std::string name;
    std::size_t count = 1;
    std::shared_ptr<const KmifDesign> nested;
    std::size_t offset = 0;
    std::size_t countOffset = 0;  ///< of the int32 count of a kmifArray or kmifCounted
    std::size_t valuesOffset = 0; ///< of the pointer of a kmifArray or kmifCounted

    int element() const { return code & 255; }
    int form() const { return code & ~255; }
    bool isShown() const { return element() != kmifPadding; }
    bool hasPointer() const { return form() == kmifArray || form() == kmifCounted; }
    /// Whether the field has a `count` of its own, which otherwise is 1.
    bool hasCount() const;
    std::size_t elementSize() const;
};

} // namespace kmif

struct KmifDesign : kmif::HeapObject {
    std::string name;
    std::vector<kmif::PlacedField> fields;
    std::size_t size = 0;
    std::size_t alignment = 1;
    int depth = 1;
};

struct KmifDictionary : kmif::HeapObject {
    std::vector<std::shared_ptr<const KmifDesign>> designs;

    const KmifDesign* find(std::string_view name) const;
    void add(const KmifDesign& design);
};

namespace kmif {

std::unique_ptr<KmifDesign> makeDesign(std::string_view name, std::span<const KmifField> fields);
std::shared_ptr<const KmifDesign> copyOf(const KmifDesign& design);

/// A design as a JSON object, the form kmif.h shows, and back.
std::string designText(const KmifDesign& design);
std::unique_ptr<KmifDesign> designFrom(const tolvan::jsonlib::Value& object);

/// @return the document, an object; throws when it is none or lacks "kmif":1.
tolvan::jsonlib::Value parseKmif(std::string_view text);
tolvan::jsonlib::Value parse(std::string_view text);

/// Throws unless the object has exactly the members.
void requireMembers(const tolvan::jsonlib::Value& object, std::span<const std::string> names);

} // namespace kmif
