// SPDX-License-Identifier: MIT
#include "rs2_doppler.h"

#include "rs2_lmx/source/rs2prod.h"

#include <new>

namespace {

void readRate(DopplerRateRecord& record, const rs2prod::c_dopplerRateValuesDataStore& rate) {
    const double referenceS = rate.get_dopplerRateReferenceTime().get_dopplerRateReferenceTime();
    const auto coefficients = rs2::numbers(rate.size_dopplerRateValuesCoefficients(), [&](auto i) {
        return rate.get_dopplerRateValuesCoefficients(i);
    });
    record.rateEstimateCount = 1;
    record.rateTimeCount = 1;
    record.rateTimes = rs2::heapCopy({referenceS});
    record.rateReferenceCount = 1;
    record.rateReferenceTimes = rs2::heapCopy({referenceS});
    record.rateCoefficientCount = static_cast<std::int32_t>(coefficients.size());
    record.rateCoefficientTotal = record.rateEstimateCount * record.rateCoefficientCount;
    record.rateCoefficients = rs2::heapCopy(coefficients);
}

void readCentroid(DopplerRateRecord& record, const rs2prod::c_dopplerCentroidDataStore& centroid) {
    const auto coefficients =
        rs2::numbers(centroid.size_dopplerCentroidCoefficients(),
                     [&](auto i) { return centroid.get_dopplerCentroidCoefficients(i); });
    record.centroidEstimateCount = 1;
    record.centroidTimeCount = 1;
    record.centroidTimes = rs2::heapCopy(
        {rs2::timeStamp(centroid.get_timeOfDopplerCentroidEstimate()).secondsOfDay()});
    record.centroidReferenceCount = 1;
    record.centroidReferenceTimes = rs2::heapCopy(
        {centroid.get_dopplerCentroidReferenceTime().get_dopplerCentroidReferenceTime()});
    record.centroidCoefficientCount = static_cast<std::int32_t>(coefficients.size());
    record.centroidCoefficientTotal =
        record.centroidEstimateCount * record.centroidCoefficientCount;
    record.centroidCoefficients = rs2::heapCopy(coefficients);
}

} // namespace

DopplerRatesPtr rs2_getDopplerRates(const rs2::Document& document, KERR_REPORT** slot) {
    const rs2prod::c_product* product = document.product("getDopplerRates", slot);
    if (!product)
        return nullptr;
    DopplerRatesPtr record(kmsc::makeArray<DopplerRateRecord>(1).release());
    if (!record)
        throw std::bad_alloc();
    const auto& generation = product->get_imageGenerationParameters();
    readRate(*record, generation.get_dopplerRateValues());
    readCentroid(*record, generation.get_dopplerCentroid(0));
    return record;
}
