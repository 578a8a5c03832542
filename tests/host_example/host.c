// SPDX-License-Identifier: MIT
/* Usage: host rf_sar.so PRODUCT [NODE [LAYER]]. Tells what the product is, the sum of the first
 * block of its first layer or the named one, and a node as JSON. */
#include "rf_platform_c.h"
#include "rf_sar.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <uchar.h>

static void* plugin;

static void* entry(const char* name) {
    void* found = dlsym(plugin, name);
    if (!found) {
        fprintf(stderr, "host: %s\n", dlerror());
        exit(1);
    }
    return found;
}
#define ENTRY(function) ((__typeof__(&(function)))entry(#function))

/* What failed or was left out, and why. */
static void hear(void* user, int32_t severity, const char* text) {
    (void)user;
    fprintf(stderr, "host: %s%s\n", severity < rf_platformError ? "warning: " : "", text);
}

/* File names here are ASCII; a real host converts UTF-8. */
static void widen(const char* text, char16_t* wide, size_t room) {
    size_t i = 0;
    for (; text[i] && i + 1 < room; ++i)
        wide[i] = (unsigned char)text[i];
    wide[i] = 0;
}

static void print(const char* title, const char16_t* text) {
    printf("%s ", title);
    for (; *text; ++text)
        putchar(*text < 128 ? (int)*text : '?');
    putchar('\n');
}

static void freeTexts(char16_t** texts, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        ENTRY(rf_platformFree)(texts[i]);
    ENTRY(rf_platformFree)(texts);
}

static int readFirstBlock(RF_SARFile* file, const char16_t* name) {
    uint32_t type, width, height, reserved, blockWidth, blockHeight;
    RF_SARLayer* layer = NULL;
    if (ENTRY(rf_platformLayerOpenGuarded)(ENTRY(rf_sarLayerOpen), file, name, &type, &width, &height,
                                           &reserved, &blockWidth, &blockHeight, &layer) != 0)
        return 1;
    uint16_t* samples = malloc(sizeof *samples * blockWidth * blockHeight);
    void* block = samples; /* becomes null when the block cannot be read */
    const int failed = !samples || ENTRY(rf_sarLayerRasterRead)(layer, 0, 0, &block) != 0;
    if (!failed) {
        unsigned long long sum = 0;
        for (size_t i = 0; i < (size_t)blockWidth * blockHeight; ++i)
            sum += samples[i];
        printf("size %u x %u\nblock %u x %u\nsum %llu\n", (unsigned)width, (unsigned)height,
               (unsigned)blockWidth, (unsigned)blockHeight, sum);
    }
    free(samples);
    ENTRY(rf_sarLayerClose)(layer);
    return failed;
}

static int printNode(RF_SARFile* file, const char16_t* name) {
    RF_PlatformNode* node = ENTRY(rf_platformNodeNew)();
    int failed = !node || ENTRY(rf_sarFileDataRead)(file, name, node, NULL, NULL, NULL) != 0;
    if (!failed) {
        char* json = ENTRY(rf_platformNodeJson)(node);
        failed = !json;
        if (json)
            puts(json);
        ENTRY(rf_platformFree)(json);
    }
    ENTRY(rf_platformNodeFree)(node);
    return failed;
}

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    plugin = dlopen(argv[1], RTLD_NOW);
    if (!plugin) {
        fprintf(stderr, "host: %s\n", dlerror());
        return 1;
    }
    ENTRY(rf_platformListen)(hear, NULL);
    char16_t name[4096];
    widen(argv[2], name, 4096);
    uint32_t format = RF_SAR_FAILURE;
    RF_SARFile* file = ENTRY(rf_sarFileTitleIdentifyAndOpen)(name, &format, u"rb");
    if (!file) {
        fprintf(stderr, "host: %s: not a product that rf_sar reads\n", argv[2]); /* why: heard */
        return 1;
    }
    uint32_t rows = 0, count = 0;
    char16_t **titles = NULL, **layers = NULL;
    if (ENTRY(rf_sarInstanceTitleListGet)(&rows, &titles) == 0 && format < rows)
        print("format", titles[format]);
    freeTexts(titles, rows);

    int failed = ENTRY(rf_sarFileLayerNamesGet)(file, &count, &layers) != 0;
    for (uint32_t i = 0; !failed && i < count; ++i)
        print("layer", layers[i]);
    if (!failed && argc > 4) {
        widen(argv[4], name, 4096);
        failed = readFirstBlock(file, name);
    } else if (!failed && count > 0) {
        failed = readFirstBlock(file, layers[0]);
    }
    freeTexts(layers, failed && !layers ? 0 : count);
    if (!failed && argc > 3) {
        widen(argv[3], name, 4096);
        failed = printNode(file, name);
    }
    ENTRY(rf_sarFileClose)(file);
    return failed;
}
