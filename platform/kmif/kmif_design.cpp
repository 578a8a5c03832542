// SPDX-License-Identifier: MIT
#include "kmif/kmif_design.h"

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"

#include <algorithm>
#include <set>

namespace kmif {
namespace {

[[noreturn]] void complain(std::string_view what, std::string_view name) {
    throw TolvanLog::Exception("design " + std::string(name) + ": " + std::string(what));
}

/// Bytes of one element of a code; 0 for an unknown code.
std::size_t sizeOf(int element, const KmifDesign* nested) {
    switch (element) {
    case kmifPadding:
    case kmifText:
        return 1;
    case kmifInt32:
    case kmifUint32:
        return 4;
    case kmifInt64:
    case kmifFloat64:
        return 8;
    case kmifNested:
        return nested ? nested->size : 0;
    default:
        return 0;
    }
}

bool formFits(const PlacedField& field) {
    const bool isBytes = field.element() == kmifPadding || field.element() == kmifText;
    switch (field.form()) {
    case 0:
        return true;
    case kmifInline:
        return !isBytes;
    case kmifArray:
    case kmifCounted:
        return !isBytes && field.element() != kmifNested;
    default:
        return false;
    }
}

void check(const PlacedField& field, const KmifDesign& design) {
    if (field.name.empty())
        complain("a field has no name", design.name);
    static_cast<void>(ktxt::widen(field.name)); // throws if it is not UTF-8
    if (field.code < 0 || !formFits(field) || field.elementSize() == 0)
        complain("type code " + std::to_string(field.code) + " of " + field.name + " is unknown",
                 design.name);
    if (field.nested && field.element() != kmifNested)
        complain(field.name + " takes no nested design", design.name);
    if (field.count < 1 || field.count > kmifMaxStructureBytes ||
        (field.count != 1 && !field.hasCount()))
        complain("count of " + field.name + " does not fit its type code", design.name);
    if (field.form() == kmifCounted &&
        (design.fields.empty() || design.fields.back().code != kmifInt32))
        complain("no int32 count stands before " + field.name, design.name);
}

std::size_t alignmentOf(const PlacedField& field) {
    if (field.hasPointer())
        return alignof(void*);
    return field.nested ? field.nested->alignment : field.elementSize();
}

std::size_t sizeInStructure(const PlacedField& field) {
    switch (field.form()) {
    case kmifArray:
        return 8 + sizeof(void*);
    case kmifCounted:
        return sizeof(void*);
    default:
        return field.count * field.elementSize();
    }
}

std::size_t roundUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

void append(KmifDesign& design, PlacedField field) {
    check(field, design);
    const std::size_t alignment = alignmentOf(field);
    field.offset = roundUp(design.size, alignment);
    field.countOffset = field.form() == kmifCounted ? design.fields.back().offset : field.offset;
    field.valuesOffset = field.form() == kmifArray ? field.offset + 8 : field.offset;
    design.size = field.offset + sizeInStructure(field);
    design.alignment = std::max(design.alignment, alignment);
    design.depth = std::max(design.depth, field.nested ? field.nested->depth + 1 : 1);
    if (design.size > kmifMaxStructureBytes)
        complain("the structure is too large", design.name);
    if (design.depth > kmifMaxDepth)
        complain("designs are nested too deep", design.name);
    design.fields.push_back(std::move(field));
}

} // namespace

void* HeapObject::operator new(std::size_t size) {
    void* block = kmsc_HeapCalloc(1, size);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void HeapObject::operator delete(void* block) {
    kmsc_HeapFree(block);
}

bool PlacedField::hasCount() const {
    return form() == kmifInline || code == kmifPadding || code == kmifText;
}

std::size_t PlacedField::elementSize() const {
    return sizeOf(element(), nested.get());
}

std::unique_ptr<KmifDesign> makeDesign(std::string_view name, std::span<const KmifField> fields) {
    auto design = std::make_unique<KmifDesign>();
    design->name = name;
    static_cast<void>(ktxt::widen(name)); // throws if it is not UTF-8
    if (name.empty() || fields.empty())
        complain("a name and a field are needed", name);
    std::set<std::string_view> names;
    for (const KmifField& field : fields) {
        if (!names.insert(field.name).second)
            complain("two fields are named " + std::string(field.name), name);
        PlacedField placed{field.code, std::string(field.name), field.count, nullptr};
        if (field.nested)
            placed.nested = copyOf(*field.nested);
        append(*design, std::move(placed));
    }
    design->size = roundUp(design->size, design->alignment);
    return design;
}

std::shared_ptr<const KmifDesign> copyOf(const KmifDesign& design) {
    return std::shared_ptr<const KmifDesign>(new KmifDesign(design));
}

} // namespace kmif

const KmifDesign* KmifDictionary::find(std::string_view name) const {
    for (const auto& design : designs) {
        if (design->name == name)
            return design.get();
    }
    return nullptr;
}

void KmifDictionary::add(const KmifDesign& design) {
    const KmifDesign* known = find(design.name);
    if (!known)
        designs.push_back(kmif::copyOf(design));
    else if (kmif::designText(*known) != kmif::designText(design))
        throw TolvanLog::Exception("the dictionary has another design " + design.name);
}

KmifDictionary* kmif_DictionaryCreate(KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [] { return new KmifDictionary; });
}

void kmif_DictionaryDestroy(KmifDictionary* dictionary) {
    delete dictionary;
}

KmifDesign* kmif_DesignCreate(KmifDictionary* dictionary, std::string_view name,
                              std::initializer_list<KmifField> fields, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        auto design = kmif::makeDesign(name, fields);
        if (dictionary)
            dictionary->add(*design);
        return design.release();
    });
}

void kmif_DesignDestroy(KmifDesign* design) {
    delete design;
}

const std::string& kmif_DesignName(const KmifDesign* design) {
    return design->name;
}

std::size_t kmif_DesignSize(const KmifDesign* design) {
    return design->size;
}

bool kmif_DictionaryAddDesign(KmifDictionary* dictionary, const KmifDesign* design,
                              KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        if (!dictionary || !design)
            throw TolvanLog::Exception("no dictionary or no design");
        dictionary->add(*design);
        return true;
    });
}

const KmifDesign* kmif_DictionaryFindDesign(const KmifDictionary* dictionary,
                                            std::string_view name) {
    return dictionary->find(name);
}
