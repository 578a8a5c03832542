// SPDX-License-Identifier: MIT
#pragma once

#include "doppler_rates.h"
#include "kerr/kerr.h"
#include "rs2_product.h"

/// Reads the Doppler rate of a RADARSAT-2 product and the first of its Doppler centroid estimates.
/// @return null with a report when the file does not match the schema.
/// @throws std::bad_alloc
DopplerRatesPtr rs2_getDopplerRates(const rs2::Document& document, KERR_REPORT** slot);
