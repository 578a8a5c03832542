#ifndef RF_PLATFORM_C_H
#define RF_PLATFORM_C_H

/* What a host written in C needs beside rf_sar.h: the heap's end and the nodes' text. The functions
 * are found in the plug-in's handle (dlsym looks in what rf_sar.so is linked with), or by linking
 * librf_platform.so. Any thread may call them. */

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RF_PlatformNode RF_PlatformNode;

/* Frees a text or list that the plug-in or a function below handed out; null is allowed. */
__attribute__((visibility("default"))) void rf_platformFree(void* block);

/* An empty node to pass as the argument `a` of rf_sarFileDataRead; null when memory is short. */
__attribute__((visibility("default"))) RF_PlatformNode* rf_platformNodeNew(void);
__attribute__((visibility("default"))) void rf_platformNodeFree(RF_PlatformNode* node);

/* The node as a JSON object in UTF-8, "null" for an empty one; a block of the host heap. Null when
 * memory is short. */
__attribute__((visibility("default"))) char* rf_platformNodeJson(const RF_PlatformNode* node);

#ifdef __cplusplus
}
#endif

#endif
