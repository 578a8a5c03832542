// SPDX-License-Identifier: MIT
#include "kmif/kmif_node.h"

#include "kmif/kmif_memory.h"
#include "ktxt/ktxt.h"

namespace {

using kmif::PlacedField;

std::size_t roundedUp(std::size_t size) {
    return (size + 7) / 8 * 8;
}

/// Checks what the design does not guarantee about the data.
/// @return bytes for a copy of the structure and all that its pointers lead to.
std::size_t sizeOfCopy(const KmifDesign& design, const std::byte* source) {
    std::size_t size = roundedUp(design.size);
    const auto add = [&](const PlacedField& field, const std::byte* structure) {
        if (field.hasPointer()) {
            const std::int32_t count = kmif::elementsOf(field, structure).count;
            if (count < 0)
                throw TolvanLog::Exception("count of " + field.name + " is negative");
            size += roundedUp(static_cast<std::size_t>(count) * field.elementSize());
        } else if (field.element() == kmifText) {
            try {
                static_cast<void>(ktxt::widen(kmif::textOf(field, structure)));
            } catch (const TolvanLog::Exception& error) {
                throw TolvanLog::Exception(field.name + ": " + error.what());
            }
        }
    };
    kmif::forEachField(design, source, add);
    return size;
}

/// Copies what the structure's pointers lead to behind the copied structure, and redirects them.
void copyArrays(const KmifDesign& design, std::byte* copy) {
    std::byte* end = copy + roundedUp(design.size);
    const auto copyArray = [&](const PlacedField& field, std::byte* structure) {
        if (!field.hasPointer())
            return;
        const auto [first, count] = kmif::elementsOf(field, structure);
        const std::size_t size = static_cast<std::size_t>(count) * field.elementSize();
        if (size > 0)
            std::memcpy(end, first, size);
        kmif::store(structure + field.countOffset, count);
        kmif::store<const std::byte*>(structure + field.valuesOffset, size > 0 ? end : nullptr);
        end += roundedUp(size);
    };
    kmif::forEachField(design, copy, copyArray);
}

} // namespace

bool kmif_NodeCreate(const void* data, const KmifDesign* design, KmifNode* node,
                     KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        if (!data || !design || !node)
            throw TolvanLog::Exception("no data, no design or no node to fill");
        const auto* source = static_cast<const std::byte*>(data);
        kmsc::HeapPtr<void> copy(kmsc_HeapCalloc(1, sizeOfCopy(*design, source)));
        if (!copy)
            throw std::bad_alloc();
        std::memcpy(copy.get(), source, design->size);
        copyArrays(*design, static_cast<std::byte*>(copy.get()));
        *node = KmifNode(kmif::copyOf(*design), std::move(copy));
        return true;
    });
}
