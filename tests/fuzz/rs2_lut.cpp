// SPDX-License-Identifier: MIT
// RADARSAT-2's calibration tables through the binding.
#include "fuzz/binding.h"
#include "rs2_lmx/source/rs2prod_lut.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    fuzz::bindAnyWay<rs2prod_lut::c_lut>(bytes, size, "lut");
    return 0;
}
