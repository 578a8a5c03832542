// SPDX-License-Identifier: MIT
#include "rs2_calibration.h"

#include "kfnp/kfnp.h"
#include "kmif/kmif.h"
#include "ktxt/ktxt.h"
#include "messages.h"
#include "referenced_file.h"
#include "rs2_lmx/source/rs2prod.h"
#include "rs2_lmx/source/rs2prod_lut.h"
#include "sarm/sarm_nodes.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

constexpr char function[] = "rs2_getCalibration";

/// One table's fields in the record, and the report for a bad file.
struct Entry {
    double CalibrationLutRecord::*offset;
    std::int32_t CalibrationLutRecord::*count;
    double* CalibrationLutRecord::*gains;
    const char* message;
};
using Record = CalibrationLutRecord;
constexpr Entry entries[] = {
    {&Record::betaOffset, &Record::betaCount, &Record::betaGains, messages::wrongBetaTable},
    {&Record::sigmaOffset, &Record::sigmaCount, &Record::sigmaGains, messages::wrongSigmaTable},
    {&Record::gammaOffset, &Record::gammaCount, &Record::gammaGains, messages::wrongGammaTable},
};

/// The record contains any numbers that a table has; logs a warning for unusable ones.
void warnOfUnusableNumbers(const std::string& file, const std::vector<double>& gains,
                           double offset) {
    const auto tell = [&](const std::string& where, double value) {
        TolvanLog::Write(function, kerrWarning,
                         file + ": " + where + " is " + std::to_string(value) +
                             "; samples calibrated with it are no numbers");
    };
    if (!std::isfinite(offset))
        tell("offset", offset);
    const auto unusable = std::find_if(gains.begin(), gains.end(), [](double gain) {
        return !std::isnormal(gain) || gain < 0;
    });
    if (unusable != gains.end())
        tell("gains[" + std::to_string(unusable - gains.begin()) + ']', *unusable);
}

/// @return false with a report when the file does not match the tables' schema.
bool readTable(const std::string& file, const Entry& entry, Record& record,
               rs2::BindingErrors& errors, KERR_REPORT** slot) {
    lmx::elmx_error error;
    const rs2prod_lut::c_lut table(file.c_str(), error, errors.handler());
    if (error != lmx::elmx_error::ok && error != lmx::elmx_error::withoutNamespace) {
        errors.raise(slot, function, entry.message);
        return false;
    }
    const auto gains =
        rs2::numbers(table.size_gains(), [&](auto i) { return table.get_gains(i); });
    warnOfUnusableNumbers(file, gains, table.get_offset());
    record.*entry.gains = rs2::heapCopy(gains);
    record.*entry.count = static_cast<std::int32_t>(gains.size());
    record.*entry.offset = table.get_offset();
    return true;
}

/// The same for a file name from product.xml.
bool readNamedTable(std::u16string_view productFile, const std::string& name, const Entry& entry,
                    Record& record, rs2::BindingErrors& errors, KERR_REPORT** slot) {
    const std::string folder =
        ktxt::narrow(kfnp_FileNameGetPathPart(kfnp_FileNameExternalToInternal(productFile)));
    const std::string file = kfnp::clean(folder + name);
    try {
        refuseNamesOutsideProduct(name);
        refuseLinksOutsideProduct(productFile, ktxt::widen(file));
    } catch (const TolvanLog::Exception& refusal) {
        kerr::raise(slot, function, refusal.what());
        kerr::raise(slot, function, entry.message);
        return false;
    }
    return readTable(file, entry, record, errors, slot);
}

} // namespace

CalibrationPtr rs2_getCalibration(const rs2::Document& document, KERR_REPORT** slot) {
    const rs2prod::c_product* product = document.product(function, slot);
    if (!product)
        return nullptr;
    const auto& image = product->get_imageAttributes();

    CalibrationPtr record(kmsc::makeArray<Record>(1).release());
    if (!record)
        throw std::bad_alloc();
    rs2::BindingErrors errors(document.file());
    std::size_t read = 0;
    while (read < std::min(image.size_lookupTable(), std::size(entries)) &&
           readNamedTable(ktxt::widen(document.file()),
                          image.get_lookupTable(read).get_lookupTable(), entries[read], *record,
                          errors, slot))
        ++read;
    errors.warn(function);
    if (read == 0)
        return nullptr;
    return record;
}

void rs2_createCalibrationNode(const rs2::Document& document, const HostNodeArguments& host,
                               KERR_REPORT** slot) {
    const CalibrationPtr record = rs2_getCalibration(document, slot);
    if (!record)
        return;
    constexpr int scalar = kmifFloat64;
    constexpr int array = kmifArray + kmifFloat64;
    const kmif::DictionaryPtr dictionary(kmif_DictionaryCreate(slot));
    const kmif::DesignPtr design(kmif_DesignCreate(dictionary.get(), "Rs2_Calibration",
                                                   {{scalar, "lutBetaOffset"},
                                                    {array, "lutBeta"},
                                                    {scalar, "lutSigmaOffset"},
                                                    {array, "lutSigma"},
                                                    {scalar, "lutGammaOffset"},
                                                    {array, "lutGamma"}},
                                                   slot));
    if (dictionary && design)
        sarm_CreateMIFNode(record.get(), design.get(), dictionary.get(), host.a, host.b, host.c,
                           host.d, slot);
}
