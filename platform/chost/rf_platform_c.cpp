#include "chost/rf_platform_c.h"

#include "kmif/kmif_node.h"

#include <new>

// The opaque node is a KmifNode, which is what rf_sarFileDataRead fills.

void rf_platformFree(void* block) {
    kmsc_HeapFree(block);
}

RF_PlatformNode* rf_platformNodeNew() {
    return reinterpret_cast<RF_PlatformNode*>(new (std::nothrow) KmifNode);
}

void rf_platformNodeFree(RF_PlatformNode* node) {
    delete reinterpret_cast<KmifNode*>(node);
}

char* rf_platformNodeJson(const RF_PlatformNode* node) {
    try {
        const std::string json = kmif_NodeToJson(*reinterpret_cast<const KmifNode*>(node));
        return static_cast<char*>(kmsc_MemDup(json.c_str(), json.size() + 1));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
