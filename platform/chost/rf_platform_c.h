// SPDX-License-Identifier: MIT
#ifndef RF_PLATFORM_C_H
#define RF_PLATFORM_C_H

/* What a host written in C needs besides rf_sar.h: the reasons of failures, a function that frees
 * blocks of the host heap, nodes as text, and a way to open layers without C++ exceptions. Look the
 * functions up in the plug-in's handle (dlsym also searches the libraries that rf_sar.so is linked
 * with), or link librf_platform.so. Any thread may call them. */

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

/* Receives a report: what failed or was left out, and why, in one line of UTF-8 that begins with
 * the call's name. The text is valid only during the call. The reporting thread calls it; it must
 * not throw. */
typedef void (*RF_PlatformListener)(void* user, int32_t severity, const char* text);

/* From now on, sends every report to `listener`, with `user`. Without a listener some reports are
 * printed to standard error and the others are lost; null restores that. Call it before other
 * threads use the plug-in. */
RF_PLATFORM_C_API void rf_platformListen(RF_PlatformListener listener, void* user);

/* The type of rf_sarLayerOpen. */
typedef uint32_t (*RF_PlatformLayerOpen)(struct RF_SARFile* file, const char16_t* name,
                                         uint32_t* pixelType, uint32_t* width, uint32_t* height,
                                         uint32_t* reserved, uint32_t* blockWidth,
                                         uint32_t* blockHeight, struct RF_SARLayer** layer);

/* Calls `open`, the plug-in's rf_sarLayerOpen. That function throws for a layer that the product
 * lists but has no image for; this one reports the reason and returns UINT32_MAX, as for any other
 * failure. */
RF_PLATFORM_C_API uint32_t rf_platformLayerOpenGuarded(
    RF_PlatformLayerOpen open, struct RF_SARFile* file, const char16_t* name, uint32_t* pixelType,
    uint32_t* width, uint32_t* height, uint32_t* reserved, uint32_t* blockWidth,
    uint32_t* blockHeight, struct RF_SARLayer** layer);

/* Frees a text or list that the plug-in or a function below returned; null is allowed. */
RF_PLATFORM_C_API void rf_platformFree(void* block);

/* Makes an empty node to pass as argument `a` of rf_sarFileDataRead; null when memory is short. */
RF_PLATFORM_C_API RF_PlatformNode* rf_platformNodeNew(void);
/* Null is allowed. */
RF_PLATFORM_C_API void rf_platformNodeFree(RF_PlatformNode* node);

/* Returns the node as a JSON object in UTF-8, "null" for an empty one, in a block of the host heap.
 * Null when memory is short or the node is null. */
RF_PLATFORM_C_API char* rf_platformNodeJson(const RF_PlatformNode* node);

#ifdef __cplusplus
}
#endif

#endif
