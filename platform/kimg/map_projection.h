// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/kimg.h"
#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "rf_platform_api.h"

/// An image's own georeferencing as projection and transform. Any thread, no exceptions.

/// @return the projection of the image's geotransform or tie points, freed with
///         kprj_ProjectionFree; null without a report when the image states none, null with one
///         when it cannot be read.
RF_PLATFORM_API KPRJ_PROJECTION* kimg_LayerMapProjectionRead(KIMG_LAYER* layer, KERR_REPORT** slot);

namespace kimg {

/// Reads the transform between map and pixels: the image's geotransform, else polynomials through
/// its tie points.
/// @param transform  receives the transform, freed with kxfr_XFormFree.
/// @param projectionName,unitsName  receive the map's projection and units as in KIMG_MAP_INFO,
///        host-heap texts that the caller frees.
/// @return whether there is one; false without a report when the image states none, false with one
///         when it cannot be read or memory is short. The outputs are null then.
RF_PLATFORM_API bool LayerMapInformationRead(KIMG_LAYER* layer, KxfrXForm** transform,
                                             char16_t** projectionName, char16_t** unitsName,
                                             KERR_REPORT** slot);

} // namespace kimg
