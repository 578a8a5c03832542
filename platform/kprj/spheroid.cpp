// SPDX-License-Identifier: MIT
#include "kprj/kprj.h"

#include "kmsc/kmsc.h"

#include <proj.h>

#include <charconv>
#include <cstring>
#include <string>
#include <strings.h>

namespace {

bool sameName(std::string_view a, const char* b) {
    return a.size() == std::strlen(b) && strncasecmp(a.data(), b, a.size()) == 0;
}

/// The number after the "=" of PROJ's "a=6378137.0".
double valueOf(std::string_view setting) {
    double value = 0;
    std::from_chars(setting.data() + setting.find('=') + 1, setting.data() + setting.size(), value);
    return value;
}

} // namespace

KPRJ_SPHEROID* kprj_SpheroidCreate() {
    return kmsc::makeArray<KPRJ_SPHEROID>(1).release();
}

bool kprj_SpheroidByName(std::string_view name, KPRJ_SPHEROID* spheroid, KERR_REPORT** slot) {
    if (!spheroid) {
        kerr::raise(slot, __func__, "there is no spheroid to fill");
        return false;
    }
    for (const PJ_ELLPS* known = proj_list_ellps(); known->id; ++known) {
        if (!sameName(name, known->name) && !sameName(name, known->id))
            continue;
        const double major = valueOf(known->major), shape = valueOf(known->ell);
        const bool byFlattening = std::string_view(known->ell).starts_with("rf=");
        std::strncpy(spheroid->name, known->name, sizeof spheroid->name - 1);
        spheroid->semiMajorAxis = major;
        spheroid->semiMinorAxis = byFlattening ? major * (1 - 1 / shape) : shape;
        return true;
    }
    kerr::raise(slot, __func__, "there is no spheroid \"" + std::string(name) + "\"");
    return false;
}

void kprj_SpheroidFree(KPRJ_SPHEROID* spheroid) {
    kmsc_HeapFree(spheroid);
}
