// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

/// The host's initialisation handle: proof that the libraries are set up.
struct KINT_INIT;

/// @return the one handle of this process; made on first use, any thread.
RF_PLATFORM_API const KINT_INIT* kint_GetInit();
