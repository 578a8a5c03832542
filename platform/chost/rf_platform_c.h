// SPDX-License-Identifier: MIT
#ifndef RF_PLATFORM_C_H
#define RF_PLATFORM_C_H

/* What a host written in C needs beside rf_sar.h: the reasons of failures, the end of blocks of the
 * host heap, the nodes' text, and an opening of layers that no C++ exception leaves. The functions
 * are found in the plug-in's handle (dlsym looks in what rf_sar.so is linked with), or by linking
 * librf_platform.so. Any thread may call them. */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#else
#include <uchar.h>
#endif

#define RF_PLATFORM_C_API __attribute__((visibility("default")))

typedef struct RF_PlatformNode RF_PlatformNode;
struct RF_SARFile;
struct RF_SARLayer;

enum { rf_platformWarning = 1, rf_platformError = 2 };

/* Hears a report: what failed or was left out, and why, in one line of UTF-8, the call's name first.
 * The text is gone after the return. Called by whatever thread reports; must not throw. */
typedef void (*RF_PlatformListener)(void* user, int32_t severity, const char* text);

/* Sends every report to `listener` from now on, with `user` beside it, instead of the printed ones to
 * standard error and the others nowhere; null restores that. Set it before other threads work. */
RF_PLATFORM_C_API void rf_platformListen(RF_PlatformListener listener, void* user);

/* The type of rf_sarLayerOpen. */
typedef uint32_t (*RF_PlatformLayerOpen)(struct RF_SARFile* file, const char16_t* name,
                                         uint32_t* pixelType, uint32_t* width, uint32_t* height,
                                         uint32_t* reserved, uint32_t* blockWidth,
                                         uint32_t* blockHeight, struct RF_SARLayer** layer);

/* Calls `open`, the plug-in's rf_sarLayerOpen. Where that throws, for a layer that the product lists
 * but has no image for, this reports the reason and answers UINT32_MAX like any other failure. */
RF_PLATFORM_C_API uint32_t rf_platformLayerOpenGuarded(
    RF_PlatformLayerOpen open, struct RF_SARFile* file, const char16_t* name, uint32_t* pixelType,
    uint32_t* width, uint32_t* height, uint32_t* reserved, uint32_t* blockWidth,
    uint32_t* blockHeight, struct RF_SARLayer** layer);

/* Frees a text or list that the plug-in or a function below handed out; null is allowed. */
RF_PLATFORM_C_API void rf_platformFree(void* block);

/* An empty node to pass as the argument `a` of rf_sarFileDataRead; null when memory is short. */
RF_PLATFORM_C_API RF_PlatformNode* rf_platformNodeNew(void);
/* Null is allowed. */
RF_PLATFORM_C_API void rf_platformNodeFree(RF_PlatformNode* node);

/* The node as a JSON object in UTF-8, "null" for an empty one; a block of the host heap. Null when
 * memory is short or the node is null. */
RF_PLATFORM_C_API char* rf_platformNodeJson(const RF_PlatformNode* node);

#ifdef __cplusplus
}
#endif

#endif
