// SPDX-License-Identifier: MIT
#include "capella_metadata.h"

#include "capella_files.h"
#include "capella_readnodes.h"
#include "kstr/host_list.h"
#include "kfio/kfio.h"
#include "kfio/product_tree.h"
#include "kfnp/kfnp.h"
#include "messages.h"
#include "referenced_file.h"
#include "text_match.h"

#include <memory>

namespace {

constexpr char module[] = "capella_metadata";

struct StatCacheFree {
    void operator()(KFIO_STAT_CACHE* cache) const { kfio_StatCacheFree(cache); }
};

bool isReadableFile(std::u16string_view name, KerrException& report) {
    const std::unique_ptr<KFIO_STAT_CACHE, StatCacheFree> cache(
        kfio_StatCacheCreate(name, report.slot()));
    bool readable = true;
    for (const int item : {kfioExists, kfioIsRegularFile, kfioIsReadable})
        readable = kfio_StatCacheGet(cache.get(), item, report.slot()) != 0 && readable;
    return readable && !report.HasError();
}

} // namespace

/// @return false when the extended metadata replace a damaged item.
bool capellaImageMetadata::loadDocument(KerrException& report) {
    std::string reason;
    const auto text = kfio::readDocument(ktxt::narrow(fileName), reason);
    if (!text) {
        TolvanLog::Write("openImageMetadata", kerrError, ktxt::narrow(fileName) + " " + reason);
        report.Throw(messages::fileNotFound);
    }
    tolvan::jsonlib::Reader reader;
    if (!reader.parse(*text, document_, true)) {
        if (loadExtendedInstead(reader.formattedErrorMessages()))
            return false;
        TolvanLog::Write("openImageMetadata", kerrError, reader.formattedErrorMessages());
    }
    if (document_.isNull())
        report.Throw(messages::jsonNotParsed);
    return true;
}

/// Deviation: a damaged item does not cost the product whose extended metadata are whole.
/// (CapellaDiscovery.ExtendedMetadataServeForADamagedItem)
/// @return whether they are.
bool capellaImageMetadata::loadExtendedInstead(const std::string& whyNotItem) {
    const auto extended = capella_files::besideItem(fileName, u"_extended.json");
    if (!kfio_FileExists(extended))
        return false;
    refuseLinksOutsideProduct(fileName, extended);
    std::string reason;
    const auto text = kfio::readDocument(ktxt::narrow(extended), reason);
    tolvan::jsonlib::Reader reader;
    if (!text || !reader.parse(*text, document_, true) || !document_.isMember("collect")) {
        document_ = {};
        return false;
    }
    TolvanLog::Write("openImageMetadata", kerrWarning,
                     ktxt::narrow(fileName) + " is damaged; " + ktxt::narrow(extended) +
                         " is used instead: " + whyNotItem);
    return true;
}

void capellaImageMetadata::openImageMetadata() {
    KerrException report(module, "openImageMetadata");
    document_ = {};
    try {
        if (!isReadableFile(fileName, report))
            report.Throw(messages::fileNotFound);
        if (!loadDocument(report) || document_.isMember("properties"))
            return;
        // Deviation: only the last component loses "_extended", so that a folder may carry it.
        // (CapellaDiscovery.ExtendedFileLeadsToTheItem)
        const std::u16string opened = fileName.c_str();
        const std::u16string path = kfnp_FileNameGetPathPart(opened);
        std::u16string last = opened.substr(path.size());
        kstr_RemoveChars(last, u"_extended");
        fileName = path + last;
        if (!kfio_FileExists(fileName))
            return; // the extended document serves alone
        if (loadDocument(report) && !document_.isMember("properties"))
            report.Throw(messages::jsonNotParsed);
    } catch (const std::exception& error) {
        document_ = {};
        report.Log(error.what());
    } catch (...) {
        document_ = {};
        report.Log("unknown exception");
    }
}

/// @return the image that the asset names, else the TIFF with the item's name.
std::u16string capellaImageMetadata::imageOf(const std::string& href,
                                             KerrException& report) const {
    if (auto named = href.empty() ? std::nullopt : capella_files::fileOfAsset(fileName, href))
        return *named;
    auto beside = capella_files::besideItem(fileName, u".tif");
    if (!kfio_FileExists(beside))
        report.Throw(messages::noImageFile);
    return beside;
}

capellaImageMetadata::Product capellaImageMetadata::readItem(KerrException& report) {
    const auto properties = document_["properties"];
    const auto type = properties["sar:product_type"];
    if (type.isNull())
        report.Throw(messages::noProductType);
    const auto poles = properties["sar:polarizations"];
    if (poles.isNull())
        report.Throw(messages::noPolarizations);
    std::string last; // Kept: the image is that of the polarization listed last.
                      // (CapellaDiscovery.SeveralPolarizationsTakeTheLastImage)
    for (const auto& pole : poles.elements()) {
        last = pole.asString();
        polarizations.append(ktxt::widen(last));
    }
    Product product;
    product.type = type.asString();
    if (document_.isMember("assets")) {
        const auto href = document_["assets"][last]["href"];
        product.image = imageOf(href.isNull() ? std::string() : href.asString(), report);
    }
    return product;
}

capellaImageMetadata::Product capellaImageMetadata::readExtended(KerrException& report) {
    const auto extended = capella_files::besideItem(fileName, u"_extended.json");
    if (!kfio_FileExists(extended))
        report.Throw(messages::noExtendedMetadata);
    refuseLinksOutsideProduct(fileName, extended);
    const kfio::ProductTree tree = kfio::readJsonTree(ktxt::narrow(extended));
    const auto transmit = tree.get<std::string>("collect.radar.transmit_polarization");
    const auto receive = tree.get<std::string>("collect.radar.receive_polarization");
    Product product;
    product.type = tree.get<std::string>("product_type");
    polarizations.append(ktxt::widen(transmit + receive));
    product.image = imageOf("", report);
    return product;
}

void capellaImageMetadata::classify(const std::string& type) {
    isComplex = equalsIgnoringCase(type, "SLC");
    if (isComplex)
        formatIndex = formatCapellaSlc;
    else
        formatIndex = equalsIgnoringCase(type, "GRD") ? formatCapellaGrd : formatCapellaGeo;
    complexInOneBand = 1;
}

std::vector<std::u16string> capellaImageMetadata::getReferencedFiles(std::uint32_t* index,
                                                                     KERR_REPORT**) {
    KerrException report(module, "getReferencedFiles");
    try {
        openImageMetadata();
        if (document_.isNull())
            return {}; // slot 1 has logged why
        const bool item = document_.isMember("properties");
        const Product product = item ? readItem(report) : readExtended(report);
        if (product.image.empty())
            report.Throw("the item has no assets");
        refuseLinksOutsideProduct(fileName, product.image);
        classify(product.type);
        *index = static_cast<std::uint32_t>(formatIndex);
        referencedFiles.push_back(product.image);
        magnitudeScale = 1.0;
        return referencedFiles;
    } catch (const std::exception& error) {
        report.Log(error.what());
    } catch (...) {
        report.Log("unknown exception");
    }
    return {};
}

SarMetadataRecord* capellaImageMetadata::readSARnode() {
    KerrException report(module, "readSARnode");
    SarMetadataRecord* record = capella_sarNodeRead(fileName, formatIndex, report.slot());
    if (!record)
        report.Log(report.what());
    return record;
}

std::uint32_t capellaImageMetadata::getNonStandardDataNamesGet(std::uint32_t* count,
                                                               char16_t*** names) {
    HostList list(1);
    if (!list.take(kstr_Sprintf(u":%s", {u"SAR_Metadata"}))) {
        KerrException(module, "getNonStandardDataNamesGet").Log("No memory");
        return static_cast<std::uint32_t>(-1);
    }
    *count = list.count();
    *names = list.release();
    return 0;
}
