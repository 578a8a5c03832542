// SPDX-License-Identifier: MIT
#include "kgda/kgda.h"

#include "kmsc/kmsc.h"
#include "kpxm/pixel_type.h"

KGDA_DATA* kgda_BaseDataCreate(std::uint32_t lines, std::uint32_t columns, std::uint32_t pixelType,
                               std::uint32_t layout, void* buffer, KERR_REPORT** slot) {
    constexpr const char* self = "kgda_BaseDataCreate";
    const std::size_t size = kpxm::pixelSize(pixelType);
    if (size == 0 || layout != kgdaLineMajorPacked || !buffer) {
        kerr::raise(slot, self,
                    size == 0 ? "no such pixel type: " + std::to_string(pixelType)
                    : !buffer ? std::string("no buffer")
                              : "no such layout: " + std::to_string(layout));
        return nullptr;
    }
    auto data = kmsc::makeArray<KGDA_DATA>(1);
    if (!data) {
        kerr::raise(slot, self, "No memory");
        return nullptr;
    }
    const auto pixelStride = static_cast<std::ptrdiff_t>(size);
    *data = {buffer, lines, columns, pixelType, pixelStride * columns, pixelStride};
    return data.release();
}

void kgda_BaseDataDelete(KGDA_DATA* data) {
    kmsc_HeapFree(data);
}
