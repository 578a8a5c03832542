// SPDX-License-Identifier: MIT
#pragma once

#include "kmsc/kmsc.h"
#include "records/doppler_rate_record.h"

#include <memory>

/// Frees a Doppler record with its arrays, all blocks of the host heap.
struct DopplerRatesDeleter {
    void operator()(DopplerRateRecord* rates) const {
        for (double* values :
             {rates->rateTimes, rates->rateReferenceTimes, rates->rateCoefficients,
              rates->centroidTimes, rates->centroidReferenceTimes, rates->centroidCoefficients})
            kmsc_HeapFree(values);
        kmsc_HeapFree(rates);
    }
};
/// Owns the result of a reader's getDopplerRates.
using DopplerRatesPtr = std::unique_ptr<DopplerRateRecord, DopplerRatesDeleter>;
