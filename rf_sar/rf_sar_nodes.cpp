// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "doppler_rates.h"
#include "entry_point.h"
#include "kstr/host_list.h"
#include "kmif/kmif.h"
#include "messages.h"
#include "rf_sar_file.h"
#include "sarm/sarm_nodes.h"

#include <boost/thread/locks.hpp>

#include <memory>
#include <new>

namespace {

std::u16string layerName(const imageMetadata& reader, int polarization, std::u16string_view kind,
                         long number) {
    const char16_t* pole = reader.polarizations[polarization];
    return kstr::format(u"%s_%s_%s_%d", {std::u16string_view(reader.sensorName),
                                         std::u16string_view(pole), kind, number});
}

/// One name per polarization, or a magnitude and a phase for each. Odd numbers are magnitudes, even
/// ones phases; the layers rely on that.
std::vector<std::u16string> layerNames(const imageMetadata& reader) {
    std::vector<std::u16string> names;
    for (int i = 0; i < reader.polarizations.count(); ++i) {
        if (!reader.isComplex) {
            names.push_back(layerName(reader, i, u"MAGNITUDE", i + 1));
            continue;
        }
        names.push_back(layerName(reader, i, u"MAGNITUDE", 2 * i + 1));
        names.push_back(layerName(reader, i, u"PHASE", 2 * i + 2));
    }
    return names;
}

constexpr char dataReadName[] = "rf_sarFileDataRead";

// cppcheck-suppress constParameter ; raise fills the slot
std::uint32_t printFailure(const char* message, kerr::Slot& slot) {
    kerr::raise(slot, dataReadName, message);
    kerr_PrintErrorReport(slot.get());
    return RF_SAR_FAILURE;
}

/// Whether a name begins like the node's, in any case.
bool asksFor(const KtxtTextU& name, std::u16string_view node) {
    const std::u16string built = kstr::format(u":%s", {node});
    return kstr_Eqnic(name, built, built.size());
}

DopplerRatesPtr dopplerRates(RF_SARFile& file) {
    const boost::lock_guard<boost::mutex> guard(file.lock);
    return DopplerRatesPtr(static_cast<DopplerRateRecord*>(file.reader->getDopplerRates()));
}

std::uint32_t readNode(RF_SARFile& file, const KtxtTextU& name, const HostNodeArguments& host) {
    kerr::Slot slot;
    // Deviation: dictionary and designs are freed on every path, failures included.
    // (FileDataRead.ShortMemoryLeavesNothingOnTheHeap)
    const kmif::DictionaryPtr dictionary(kmif_DictionaryCreate(slot));
    if (!dictionary)
        return printFailure(messages::dictionaryFailed, slot);
    const auto create = [&](const void* data, const kmif::DesignPtr& design) {
        sarm_CreateMIFNode(data, design.get(), dictionary.get(), host.a, host.b, host.c, host.d,
                           slot);
    };
    // Kept: rates that a product does not have fail the node, and the reader is not asked then;
    // a record that it does not have leaves the node to the reader.
    // (FileDataRead.StepsComeInOrder)
    if (asksFor(name, u"Doppler"))
        create(dopplerRates(file).get(), kmif::DesignPtr(sarm_GetDopplerRateKmifDesign()));
    if (!slot && asksFor(name, u"SAR_Metadata"))
        if (const SarMetadataRecord* record = sarMetadataOf(file))
            create(record, kmif::DesignPtr(sarm_GetSarMetadataKmifDesign()));
    if (slot)
        return printFailure(messages::nodeFailed, slot);
    const boost::lock_guard<boost::mutex> guard(file.lock);
    file.reader->readNonStandardData(name.c_str(), host);
    return 0;
}

} // namespace

uint32_t rf_sarFileLayerNamesGet(RF_SARFile* file, uint32_t* count, char16_t*** names) {
    return entryPoint<uint32_t>("rf_sarFileLayerNamesGet", RF_SAR_FAILURE, [&](KerrException&) {
        if (lacksArgument("rf_sarFileLayerNamesGet", file, count, names))
            return RF_SAR_FAILURE;
        const auto all = layerNames(*file->reader);
        HostList list(all.size());
        for (const auto& name : all)
            if (!list.append(name))
                throw std::bad_alloc();
        *count = list.count();
        *names = list.release();
        return uint32_t{0};
    });
}

uint32_t rf_sarFileRasterFormatsNonStandardDataNamesGet(RF_SARFile* file, uint32_t* count,
                                                        char16_t*** names) {
    return entryPoint<uint32_t>(
        "rf_sarFileRasterFormatsNonStandardDataNamesGet", RF_SAR_FAILURE,
        [&](KerrException&) {
            if (lacksArgument("rf_sarFileRasterFormatsNonStandardDataNamesGet", file, count, names))
                return RF_SAR_FAILURE;
            return file->reader->getNonStandardDataNamesGet(count, names);
        });
}

uint32_t rf_sarFileDataRead(RF_SARFile* file, const char16_t* name, void* a, void* b, void* c,
                            void* d) {
    return entryPoint<uint32_t>(dataReadName, RF_SAR_FAILURE, [&](KerrException&) {
        if (lacksArgument(dataReadName, file, name, a))
            return RF_SAR_FAILURE;
        return readNode(*file, name, HostNodeArguments{a, b, c, d});
    });
}
