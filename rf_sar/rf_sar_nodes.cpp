#include "rf_sar.h"

#include "entry_point.h"
#include "host_list.h"
#include "rf_sar_file.h"

#include <new>

namespace {

std::u16string layerName(const imageMetadata& reader, int polarization, std::u16string_view kind,
                         long number) {
    const char16_t* pole = reader.polarizations[polarization];
    return kstr::format(u"%s_%s_%s_%d", {std::u16string_view(reader.sensorName),
                                         std::u16string_view(pole), kind, number});
}

/// One name a polarization, or a magnitude and a phase each: odd numbers are magnitudes, even
/// ones phases, on which the layers rely.
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

} // namespace

uint32_t rf_sarFileLayerNamesGet(RF_SARFile* file, uint32_t* count, char16_t*** names) {
    return entryPoint<uint32_t>("rf_sarFileLayerNamesGet", RF_SAR_FAILURE, [&](KerrException&) {
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
        [&](KerrException&) { return file->reader->getNonStandardDataNamesGet(count, names); });
}
