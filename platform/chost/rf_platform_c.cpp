// SPDX-License-Identifier: MIT
#include "chost/rf_platform_c.h"

#include "kerr/log_sink.h"
#include "kmif/kmif_node.h"
#include "ktxt/ktxt.h"

#include <new>
#include <stdexcept>

void rf_platformListen(RF_PlatformListener listener, void* user) {
    kerr::Sink sink;
    if (listener)
        sink = [listener, user](const KERR_REPORT& report) {
            listener(user, report.severity, kerr_Text(&report).c_str());
        };
    kerr::setPrintSink(sink);
    kerr::setLogSink(sink);
}

uint32_t rf_platformLayerOpenGuarded(RF_PlatformLayerOpen open, RF_SARFile* file,
                                     const char16_t* name, uint32_t* pixelType, uint32_t* width,
                                     uint32_t* height, uint32_t* reserved, uint32_t* blockWidth,
                                     uint32_t* blockHeight, RF_SARLayer** layer) {
    constexpr char self[] = "rf_platformLayerOpenGuarded";
    constexpr uint32_t failure = UINT32_MAX;
    try {
        std::string reason = "an argument is null";
        try {
            if (open)
                return open(file, name, pixelType, width, height, reserved, blockWidth,
                            blockHeight, layer);
        } catch (const std::out_of_range&) {
            reason = "the product has no image for layer " + ktxt::narrow(name);
        } catch (const std::exception& error) {
            reason = error.what();
        }
        KERR_REPORT* report = kerr_CreateErrorReport(self, kerrError, reason);
        kerr_PrintErrorReport(report);
        kerr_DeleteErrorReportEx(&report);
    } catch (const std::exception&) {
        // too little memory for the report
    }
    return failure;
}

// The opaque node is a KmifNode, which rf_sarFileDataRead fills.

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
    if (!node)
        return nullptr;
    try {
        const std::string json = kmif_NodeToJson(*reinterpret_cast<const KmifNode*>(node));
        return static_cast<char*>(kmsc_MemDup(json.c_str(), json.size() + 1));
    } catch (const std::exception&) {
        return nullptr;
    }
}
