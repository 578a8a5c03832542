#pragma once

#include "doppler_rates.h"
#include "kerr/kerr.h"

#include <string_view>

/// Reads the Doppler rate of a RADARSAT-2 product and the first of its Doppler centroid estimates.
/// @param productFile  product.xml, local or virtual.
/// @return null with a report when the file does not match the schema.
/// @throws std::bad_alloc
/// Any thread.
DopplerRatesPtr rs2_getDopplerRates(std::u16string_view productFile, KERR_REPORT** slot);
