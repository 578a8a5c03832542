// SPDX-License-Identifier: MIT
#ifndef RF_SAR_H
#define RF_SAR_H

/* The raster-format interface of rf_sar.so: all that a host needs, in C.
 *
 * A null argument fails the call, unless the function says that it may be null; closing accepts
 * null. Texts are UTF-16, terminated. Functions that return a status return 0 for success and
 * RF_SAR_FAILURE otherwise. Returned lists and texts are blocks of the host heap (kmsc/kmsc.h),
 * each element in a block of its own; the host frees them. A failure is reported through the
 * host's error chain (kerr/kerr.h) unless said otherwise. Any thread may call any function, but a
 * handle must not be closed while another thread still uses it.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#else
#include <uchar.h>
#endif

#define RF_SAR_FAILURE UINT32_C(0xFFFFFFFF)
#define RF_SAR_API __attribute__((visibility("default")))

typedef struct RF_SARFile RF_SARFile;
typedef struct RF_SARLayer RF_SARLayer;

/* ---- What the plug-in reads: one row per product format, always in the same order ---------- */

RF_SAR_API uint32_t rf_sarInstanceTitleListGet(uint32_t* count, char16_t*** titles);
RF_SAR_API uint32_t rf_sarInstanceShortNameListGet(char16_t*** shortNames);
RF_SAR_API uint32_t rf_sarInstanceExtListGet(char16_t*** extensions);
/* File-magic lines: offset, tab, type, tab, text; empty for the formats without one. */
RF_SAR_API uint32_t rf_sarInstanceMagicListGet(char16_t*** magics);
/* File-name patterns, and one flag byte per row (all 0). */
RF_SAR_API uint32_t rf_sarInstanceTemplateListGet(char16_t*** templates, uint8_t** flags);
RF_SAR_API uint32_t rf_sarInstanceLayerTypesGet(uint32_t* count, char16_t*** types);
/* The pixel types in the host's numbering, 0 ("u1") to 12 ("c128"). */
RF_SAR_API uint32_t rf_sarInstancePixelTypesGet(uint32_t* count, char16_t*** types);
RF_SAR_API uint32_t rf_sarInstanceDescriptionGet(char16_t** text);
RF_SAR_API uint32_t rf_sarInstanceIsThreadsafe(void);    /* 1 */
RF_SAR_API uint32_t rf_sarInstanceSupportsUnicode(void); /* 1 */

/* ---- Files --------------------------------------------------------------------------------- */

/* Returns the format's row, or RF_SAR_FAILURE when the file is no product. Never prints. */
RF_SAR_API uint32_t rf_sarFileTitleIdentify(const char16_t* name);
/* Opens a product. Returns null when the file is no product or `mode` asks for creation ("a", "ab",
 * "w+", "wb+", "w+b"). Never prints. */
RF_SAR_API RF_SARFile* rf_sarFileOpen(const char16_t* name, const char16_t* mode);
/* Does both: `index` (may be null) receives the row or RF_SAR_FAILURE. A null `mode` only
 * identifies and returns null. */
RF_SAR_API RF_SARFile* rf_sarFileTitleIdentifyAndOpen(const char16_t* name, uint32_t* index,
                                                      const char16_t* mode);
/* Does not close the file's layers: close every layer before its file. */
RF_SAR_API uint32_t rf_sarFileClose(RF_SARFile* file);
/* Writes 0: products carry no modification time. */
RF_SAR_API uint32_t rf_sarFileDataModTimeGet(RF_SARFile* file, void* unused, int64_t* time);

/* ---- What a file holds --------------------------------------------------------------------- */

/* "<sensor>_<polarization>_<MAGNITUDE|PHASE>_<number>", numbers from 1. */
RF_SAR_API uint32_t rf_sarFileLayerNamesGet(RF_SARFile* file, uint32_t* count,
                                            char16_t*** names);
RF_SAR_API uint32_t rf_sarFileRasterFormatsNonStandardDataNamesGet(RF_SARFile* file,
                                                                   uint32_t* count,
                                                                   char16_t*** names);

/* Fills a node with one of the product's records. The plug-in itself handles names that begin with
 * ":SAR_Metadata" or ":Doppler", in any case; then the product's reader gets every name too.
 * If the product does not have the node, `a` stays as it was, and the result is 0.
 * a  the host's node (KmifNode*, kmif/kmif_node.h), which receives a copy of the data
 * b, c, d  the host's further arguments, passed on; may be null */
RF_SAR_API uint32_t rf_sarFileDataRead(RF_SARFile* file, const char16_t* name, void* a, void* b,
                                       void* c, void* d);

/* ---- Layers -------------------------------------------------------------------------------- */

/* Opens a layer by name. The same name on the same file gives the same layer, with a use count. A
 * name that contains "OneLineAsBlock" has blocks of one image line. `reserved` receives 0.
 * Throws std::out_of_range for a layer number that the product does not have. */
RF_SAR_API uint32_t rf_sarLayerOpen(RF_SARFile* file, const char16_t* name, uint32_t* pixelType,
                                    uint32_t* width, uint32_t* height, uint32_t* reserved,
                                    uint32_t* blockWidth, uint32_t* blockHeight,
                                    RF_SARLayer** layer);
/* Reads the block at that row and column into *block, the caller's memory for block width x block
 * height samples of the layer's pixel type, line by line; samples beyond the image are 0. On
 * failure *block becomes null. */
RF_SAR_API uint32_t rf_sarLayerRasterRead(RF_SARLayer* layer, uint32_t blockRow,
                                          uint32_t blockColumn, void** block);
RF_SAR_API uint32_t rf_sarLayerClose(RF_SARLayer* layer);
RF_SAR_API uint32_t rf_sarLayerLayerTypeRead(RF_SARLayer* layer, uint32_t* type); /* 1 */

/* ---- Georeferencing of a layer; docs/host-interface.md explains how to decode it --------------
 * Map coordinates are x east or longitude, y north or latitude. The host frees texts and arrays. */

/* The affine georeferencing of the image file: centre of the first pixel, and size of a pixel along
 * and across the lines, negative where the coordinate decreases. For a file without one it returns
 * 0, null names and zeros. */
RF_SAR_API uint32_t rf_sarLayerMapInfoRead(RF_SARLayer* layer, char16_t** projectionName,
                                           double* upperLeftX, double* upperLeftY,
                                           double* pixelSizeX, double* pixelSizeY,
                                           char16_t** unitsName);
/* The projection as the nine texts of kprj/kprj.h; all null when there is none. */
RF_SAR_API uint32_t rf_sarLayerMapProjectionRead(RF_SARLayer* layer, char16_t** projectionName,
                                                 char16_t** unitsName, char16_t** datumName,
                                                 char16_t** spheroidName, char16_t** authority,
                                                 char16_t** wkt, char16_t** designName,
                                                 char16_t** dictionary, char16_t** data);
/* The transform from the map to pixels as `count` parts, each with five texts (kxfr/kxfr.h);
 * count 0 and nulls when there is none. */
RF_SAR_API uint32_t rf_sarLayerMapToPixelTransformRead(
    RF_SARLayer* layer, char16_t** projectionName, char16_t** unitsName, uint32_t* count,
    char16_t*** from, char16_t*** to, char16_t*** data, char16_t*** dictionaries,
    char16_t*** designNames);

#ifdef __cplusplus
}
#endif

#endif
