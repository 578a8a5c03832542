#include "rs2_calibration.h"

#include "kfnp/kfnp.h"
#include "kmif/kmif.h"
#include "ktxt/ktxt.h"
#include "messages.h"
#include "referenced_file.h"
#include "rs2_lmx/source/rs2prod.h"
#include "rs2_lmx/source/rs2prod_lut.h"
#include "rs2_product.h"
#include "sarm/sarm_nodes.h"

#include <algorithm>
#include <new>

namespace {

constexpr char function[] = "rs2_getCalibration";

/// One table's place in the record, and what is reported when its file is bad.
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

/// @return false with a report when the file does not match the tables' schema.
bool readTable(const std::string& file, const Entry& entry, Record& record,
               rs2::BindingErrors& errors, KERR_REPORT** slot) {
    lmx::elmx_error error;
    const rs2prod_lut::c_lut table(file.c_str(), error, errors.handler());
    if (error != lmx::elmx_error::ok && error != lmx::elmx_error::withoutNamespace) {
        errors.raise(slot, function, entry.message);
        return false;
    }
    record.*entry.gains =
        rs2::heapCopy(rs2::numbers(table.size_gains(), [&](auto i) { return table.get_gains(i); }));
    record.*entry.count = static_cast<std::int32_t>(table.size_gains());
    record.*entry.offset = table.get_offset();
    return true;
}

/// The same for a file as product.xml names it.
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

CalibrationPtr rs2_getCalibration(std::u16string_view productFile, KERR_REPORT** slot) {
    const auto product = rs2::bindProduct(ktxt::narrow(productFile), function, slot);
    if (!product)
        return nullptr;
    const auto& image = product->get_imageAttributes();

    CalibrationPtr record(kmsc::makeArray<Record>(1).release());
    if (!record)
        throw std::bad_alloc();
    rs2::BindingErrors errors;
    std::size_t read = 0;
    while (read < std::min(image.size_lookupTable(), std::size(entries)) &&
           readNamedTable(productFile, image.get_lookupTable(read).get_lookupTable(), entries[read],
                          *record, errors, slot))
        ++read;
    errors.warn(function);
    if (read == 0)
        return nullptr;
    return record;
}

void rs2_createCalibrationNode(std::u16string_view productFile, const HostNodeArguments& host,
                               KERR_REPORT** slot) {
    const CalibrationPtr record = rs2_getCalibration(productFile, slot);
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
