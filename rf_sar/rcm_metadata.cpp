// SPDX-License-Identifier: MIT
#include "rcm_metadata.h"

#include "kstr/host_list.h"
#include "kfnp/kfnp.h"
#include "messages.h"
#include "rcm_readnodes.h"
#include "referenced_file.h"
#include "rs2_calibration.h"
#include "rs2_doppler.h"
#include "rs2_readnodes.h"
#include "text_match.h"

#include <array>
#include <sstream>

namespace {

constexpr char module[] = "rcm_metadata";
constexpr char slot0Name[] = "openImageMetadata"; // what its reports have always said
constexpr char dopplerName[] = "getDopplerRates";

/// The folder of image files and the element names for each satellite's products.
struct ImageElements {
    const char* parent;
    const char* key;
};
constexpr ImageElements rs2Images = {"imageAttributes", "fullResolutionImageData"};
constexpr ImageElements rcmImages = {"sceneAttributes.imageAttributes", "ipdf"};

const ImageElements* imageElementsOf(const std::string& satellite) {
    if (equalsIgnoringCase(satellite, "RADARSAT-2"))
        return &rs2Images;
    for (const char* rcm : {"RCM-1", "RCM-2", "RCM-3"})
        if (equalsIgnoringCase(satellite, rcm))
            return &rcmImages;
    return nullptr;
}

struct TypeName {
    const char* text;
    std::int32_t index;
};
constexpr std::array<TypeName, 6> rs2Types = {{{"SLC", rs2Slc},
                                               {"SGF", rs2Sgf},
                                               {"SGX", rs2Sgx},
                                               {"SGC", rs2Sgc},
                                               {"SSG", rs2Ssg},
                                               {"SPG", rs2Spg}}};
constexpr std::array<TypeName, 5> rcmTypes = {
    {{"SLC", rcmSlc}, {"GRD", rcmGrd}, {"GRC", rcmGrc}, {"SCD", rcmScd}, {"GCC", rcmGcc}}};

template <std::size_t n>
void mapType(const std::array<TypeName, n>& names, const std::string& type, std::int32_t& index) {
    for (const TypeName& name : names)
        if (equalsIgnoringCase(type, name.text)) {
            index = name.index;
            return;
        }
}

} // namespace

bool rcmImageMetadata::isRadarsat2() const {
    return equalsIgnoringCase(satellite, "RADARSAT-2");
}

bool rcmImageMetadata::hasRadarsat2Data() const {
    return bound_ && productTypeIndex != rs2Ssg && productTypeIndex != rs2Spg;
}

std::shared_ptr<rcmImageMetadata::Document> rcmImageMetadata::readDocument() const {
    const std::string name = ktxt::narrow(fileName);
    auto document = std::make_shared<Document>();
    document->state = kfio::fileState(name); // taken before the parse, so that no change is missed
    document->text = kfio::readXmlText(name);
    kfio::parseXmlTree(document->text, name, "geolocationGrid")
        .swap(document->tree); // trees have no move, only swap
    return document;
}

void rcmImageMetadata::readProduct() {
    document_ = readDocument();
    const kfio::ProductTree& product = document_->tree.get_child("product");
    satellite = product.get<std::string>("sourceAttributes.satellite");
    listImages(product);
    readPolarizations(product);
}

void rcmImageMetadata::listImages(const kfio::ProductTree& product) {
    const ImageElements* elements = imageElementsOf(satellite);
    if (!elements) {
        formatIndex = formatUnknown;
        TolvanLog::Write(slot0Name, kerrError, "satellite \"" + satellite + "\" is not supported");
        return;
    }
    const std::u16string directory =
        kfnp_FileNameGetPathPart(kfnp_FileNameExternalToInternal(fileName));
    for (const auto& [key, child] : product.get_child(elements->parent)) {
        if (key != elements->key)
            continue;
        refuseNamesOutsideProduct(child.data());
        referencedFiles.push_back(
            kstr::format(u"%s/%s", {std::u16string_view(directory),
                                    std::u16string_view(ktxt::widen(child.data()))}));
        refuseLinksOutsideProduct(fileName, referencedFiles.back());
    }
}

/// Kept: pieces are cut at single blanks, so that two blanks in a row give an empty entry and the
/// product is rejected for its count. (RcmDiscovery.CountsOfImagesAndPolarizationsMustAgree)
void rcmImageMetadata::readPolarizations(const kfio::ProductTree& product) {
    std::istringstream text(
        product.get<std::string>("sourceAttributes.radarParameters.polarizations"));
    for (std::string piece; std::getline(text, piece, ' ');)
        polarizations.append(ktxt::widen(piece));
}

/// Kept: every satellite that is not RADARSAT-2 counts as RCM here, even one that was rejected;
/// and a type that is not mapped (GCD, MLC) leaves the index as it was.
/// (RcmDiscovery.TypesAndSatellites)
void rcmImageMetadata::readProductType(const kfio::ProductTree& product) {
    const auto type = product.get<std::string>(
        "imageGenerationParameters.generalProcessingInformation.productType");
    // Kept: the complex images of GRC and GCC products have layers like detected ones, which
    // cannot be read. (rfsar_test: complex images on the ground)
    isComplex = equalsIgnoringCase(type, "SLC");
    if (isRadarsat2()) {
        mapType(rs2Types, type, productTypeIndex);
        formatIndex = formatRadarsat2;
    } else {
        mapType(rcmTypes, type, productTypeIndex);
        formatIndex = formatRcm;
    }
}

std::vector<std::u16string> rcmImageMetadata::getReferencedFiles(std::uint32_t* index,
                                                                 KERR_REPORT** slot) {
    KerrException report(module, slot0Name);
    try {
        fileName = kfnp_FileNameInternalToExternal(fileName);
        readProduct();
        const int images = static_cast<int>(referencedFiles.size());
        const int poles = std::max(polarizations.count(), 0);
        if (images != poles) {
            TolvanLog::Write(slot0Name, kerrError,
                             std::to_string(images) + " image files but " + std::to_string(poles) +
                                 " polarizations");
            report.Throw();
        }
        readProductType(document_->tree.get_child("product"));
        keepDocument();
        *index = static_cast<std::uint32_t>(formatIndex);
    } catch (const std::exception& error) {
        report.Log(error.what());
    } catch (...) {
        report.Log("unknown exception");
    }
    if (report.HasError()) {
        report.Clear();
        referencedFiles.clear();
        document_.reset();
    }
    complexInOneBand = 0;
    magnitudeScale = 1.0;
    kerr_DeleteErrorReportEx(slot);
    if (referencedFiles.empty())
        *index = static_cast<std::uint32_t>(formatUnknown);
    return referencedFiles;
}

/// Keeps the source for the nodes: the text for RADARSAT-2, the tree for the others.
void rcmImageMetadata::keepDocument() {
    if (isRadarsat2()) {
        bound_ = std::make_shared<const rs2::Document>(
            static_cast<std::u16string_view>(fileName), std::move(document_->text),
            document_->state);
        document_.reset();
    } else {
        std::string().swap(document_->text);
    }
}

SarMetadataRecord* rcmImageMetadata::readRcmNode() {
    auto document = std::move(document_); // parsed once; the tree is of no use afterwards
    if (!document || document->state != kfio::fileState(ktxt::narrow(fileName)))
        document = readDocument();
    return rcm_sarNodeRead(document->tree, fileName, productTypeIndex, incidenceAngles_);
}

SarMetadataRecord* rcmImageMetadata::readRadarsat2Node() {
    if (!hasRadarsat2Data())
        return nullptr;
    kerr::Slot slot;
    SarMetadataRecord* record = rs2_sarNodeRead(*bound_, productTypeIndex, slot);
    if (slot) // a record may come with one
        TolvanLog::Write(*slot.get());
    return record;
}

SarMetadataRecord* rcmImageMetadata::readSARnode() {
    KerrException report(module, "readSARnode");
    try {
        return isRadarsat2() ? readRadarsat2Node() : readRcmNode();
    } catch (const std::exception& error) {
        report.Log(error.what());
    } catch (...) {
        report.Log("unknown exception");
    }
    return nullptr;
}

void* rcmImageMetadata::getDopplerRates() {
    KerrException report(module, dopplerName);
    try {
        if (!hasRadarsat2Data())
            return nullptr;
        DopplerRatesPtr rates = rs2_getDopplerRates(*bound_, report.slot());
        report.ThrowIfReported();
        return rates.release();
    } catch (const std::exception& error) {
        report.Log(error.what());
    } catch (...) {
        report.Log("unknown exception");
    }
    return nullptr;
}

void rcmImageMetadata::readNonStandardData(const char16_t* name, const HostNodeArguments& host) {
    // Kept: reports of the calibration carry the name of the Doppler operation.
    // (Rs2Calibration.APartialNodeComesWithTheReason)
    KerrException report(module, dopplerName);
    try {
        constexpr std::u16string_view served = u":Rs2_Calibration";
        if (hasRadarsat2Data() && kstr_Eqnic(name, served, served.size())) {
            rs2_createCalibrationNode(*bound_, host, report.slot());
            report.ThrowIfReported();
        }
    } catch (const std::exception& error) {
        report.Log(error.what());
    } catch (...) {
        report.Log("unknown exception");
    }
}

std::uint32_t rcmImageMetadata::getNonStandardDataNamesGet(std::uint32_t* count,
                                                           char16_t*** names) {
    // Kept: map-projected RADARSAT-2 products and unmapped types list all three names, although
    // only some can be served. (NodeNames.FollowTheProductType)
    const bool rcm = productTypeIndex >= rcmSlc;
    const std::vector<std::u16string_view> offered =
        rcm ? std::vector<std::u16string_view>{u":SAR_Metadata"}
            : std::vector<std::u16string_view>{u":SAR_Metadata", u":Rs2_Calibration", u":Doppler"};
    HostList list(offered.size());
    for (const auto name : offered)
        if (!list.append(name)) {
            KerrException(module, "getNonStandardDataNamesGet").Log("No memory");
            return static_cast<std::uint32_t>(-1);
        }
    *count = list.count();
    *names = list.release();
    return 0;
}
