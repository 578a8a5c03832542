// SPDX-License-Identifier: MIT
#include "kint/kint.h"

struct KINT_INIT {};

const KINT_INIT* kint_GetInit() {
    static const KINT_INIT init;
    return &init;
}
