// SPDX-License-Identifier: MIT
// RADARSAT-2's product.xml through the binding.
#include "fuzz/binding.h"
#include "rs2_lmx/source/rs2prod.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    fuzz::bindAnyWay<rs2prod::c_product>(bytes, size, "product");
    return 0;
}
