// SPDX-License-Identifier: MIT
#include "dataset.h"

#include "dataset_name.h"
#include "kfio/kfio.h"
#include "product/bursts/burst_record.h"
#include "product/checks/checks.h"
#include "product/images/raster.h"
#include "product/metadata_items.h"
#include "product/radiometry/noise_power.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace rf_sar_gdal {
namespace {

using namespace std::string_view_literals;

/// Domains of the plug-in's nodes: "json:SAR_Metadata" holds the node ":SAR_Metadata".
constexpr char jsonPrefix[] = "json:";

bool sameShape(GDALRasterBand& a, GDALRasterBand& b) {
    return a.GetXSize() == b.GetXSize() && a.GetYSize() == b.GetYSize() &&
           a.GetRasterDataType() == b.GetRasterDataType();
}

bool isTiff(const std::string& file) {
    if (!kfio::fileState(file).isRegularFile)
        return false;
    constexpr std::string_view starts[] = {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv};
    std::array<char, 4> head{};
    VSILFILE* opened = VSIFOpenL(file.c_str(), "rb");
    const bool read = opened && VSIFReadL(head.data(), 1, head.size(), opened) == head.size();
    if (opened)
        VSIFCloseL(opened);
    return read && std::find(std::begin(starts), std::end(starts),
                             std::string_view(head.data(), head.size())) != std::end(starts);
}

} // namespace

SarDataset::SarDataset(const OpenRequest& request)
    : opened_(product::openProductFile(request.file)),
      listsEntries_(request.layer.empty() && !request.clearest) {
    SetDescription(request.description.c_str());
    const std::string& fault = opened_->stated().facts().fault;
    if (!fault.empty())
        CPLError(CE_Warning, CPLE_AppDefined, "%s; its facts are left out", fault.c_str());
    addBands(request);
    reference_ = std::make_unique<const Georeference>(opened_, image(), part(), request.georef);
    nameSidecars(request);
}

/// @throws loader::Error when the product has nothing of that name.
std::vector<Entry> SarDataset::chosen(const OpenRequest& request) const {
    const std::vector<Entry> entries = catalogue(*opened_);
    if (request.clearest)
        return clearest(available(opened_, entries));
    if (!request.layer.empty())
        return entriesNamed(*opened_, entries, request.layer);
    if (request.calibration.empty())
        return wholeProduct(entries);
    std::vector<Entry> found;
    for (const Entry& entry : entries)
        if (const std::string name = nameOf(entry.radiometry) + (entry.decibels ? "_DB" : "");
            entry.kind == Entry::Kind::calibrated &&
            EQUAL(name.c_str(), request.calibration.c_str()))
            found.push_back(entry);
    if (found.empty())
        throw loader::Error(opened_->name() + ": the product has no tables for " +
                            request.calibration);
    return found;
}

/// If the images differ or some are missing, the product shows only its list of subdatasets; an
/// entry that was asked for by name must open.
void SarDataset::addBands(const OpenRequest& request) {
    const bool whole = request.layer.empty() && request.calibration.empty() && !request.clearest;
    shown_ = chosen(request);
    for (Entry& entry : shown_)
        entry = treated(std::move(entry), {false, request.denoised});
    std::vector<std::unique_ptr<GDALRasterBand>> bands;
    try {
        for (const Entry& entry : shown_) {
            bands.push_back(makeBand(opened_, entry, [this] { tellWarnings(); }));
            if (!sameShape(*bands.front(), *bands.back()))
                throw loader::Error(opened_->name() + ": its layers differ in size or type");
        }
    } catch (const loader::Error& error) {
        if (!whole)
            throw;
        CPLError(CE_Warning, CPLE_AppDefined, "%s; only the subdatasets are listed", error.what());
        bands.clear();
        shown_.clear();
    }
    nRasterXSize = bands.empty() ? 512 : bands.front()->GetXSize();
    nRasterYSize = bands.empty() ? 512 : bands.front()->GetYSize();
    for (auto& band : bands)
        SetBand(nBands + 1, band.release());
}

/// Checks the product when its metadata or pixels are first asked for, because the checks read
/// tables and image headers. Warns once.
void SarDataset::tellWarnings() {
    if (std::exchange(toldWarnings_, true))
        return;
    for (const std::string& warning : product::warnings(*opened_))
        CPLError(CE_Warning, CPLE_AppDefined, "%s: %s", opened_->name().c_str(), warning.c_str());
}

/// Bypasses the sidecar file, which would write the items beside the product.
void SarDataset::provideItems() {
    tellWarnings();
    for (const auto& [key, text] : product::metadataItems(opened_->stated()))
        if (!oMDMD.GetMetadataItem(key.c_str())) // a sidecar file's own items come first
            oMDMD.SetMetadataItem(key.c_str(), text.c_str());
    if (!shown_.empty() && shown_.front().denoised)
        for (const auto& [key, text] : product::noiseRemovedItems())
            oMDMD.SetMetadataItem(key.c_str(), text.c_str());
}

/// @return whether the product has a georeferencing.
bool SarDataset::canBeDrawn() const {
    try {
        const auto known = place();
        return known && known->transform;
    } catch (const loader::Error&) {
        return false;
    }
}

/// Lists the entries; then, for viewers without options, the product and its entries on the map.
/// Leaves out complex samples, which viewers cannot draw, and single bursts, of which there may be
/// hundreds.
void SarDataset::provideSubdatasets() {
    if (!listsEntries_)
        return;
    CPLStringList list;
    int count = 0;
    const auto add = [&](const std::string& name, const std::string& description) {
        const std::string key = "SUBDATASET_" + std::to_string(++count);
        list.SetNameValue((key + "_NAME").c_str(),
                          formatDatasetName({opened_->name(), name}).c_str());
        list.SetNameValue((key + "_DESC").c_str(), (name + " - " + description).c_str());
    };
    const std::vector<Entry> entries = available(opened_, catalogue(*opened_));
    for (const Entry& entry : entries)
        if (!entry.decibels || !entry.isOfBurst())
            add(entry.name, entry.description);
    const std::vector<Entry> whole = clearest(entries);
    if (!whole.empty() && canBeDrawn()) {
        std::string poles;
        for (std::size_t i = 1; i < whole.size(); ++i)
            poles += whole[i].pole + ' ';
        add(mapName, "on the map: " + poles + whole.front().description);
        for (const Entry& entry : entries)
            if (entry.kind != Entry::Kind::complexSamples && !entry.isOfBurst())
                add(mapName + ("_" + entry.name), "on the map: " + entry.description);
    }
    oMDMD.SetMetadata(list.List(), "SUBDATASETS");
}

/// Statistics go into <product file>.aux.xml under the entry's name, overviews into <product
/// file>.<entry>.ovr, both only when the user asks for them. The product's maker may have put such
/// files there, so links in them are not followed.
void SarDataset::nameSidecars(const OpenRequest& request) {
    std::string shown = request.clearest        ? mapName
                        : request.layer.empty() ? request.calibration
                                                : request.layer;
    if (request.denoised)
        shown += ".denoised";
    std::string stem = opened_->name();
    SetPhysicalFilename(stem.c_str());
    if (!shown.empty()) {
        SetSubdatasetName(shown.c_str());
        stem += "." + shown;
    }
    TryLoadXML();
    oMDMD.SetMetadata(nullptr, "OVERVIEWS"); // may name overviews anywhere
    CPLStringList beside;
    beside.AddString(CPLGetFilename(stem.c_str()));
    if (const std::string overviews = stem + ".ovr"; isTiff(overviews))
        beside.AddString(CPLGetFilename(overviews.c_str()));
    oOvManager.Initialize(this, stem.c_str(), beside.List());
}

std::optional<product::GridPart> SarDataset::part() const {
    if (!shown_.empty())
        return product::partOf(*opened_, shown_.front());
    return image() ? product::partOf(*opened_, *image()) : std::nullopt;
}

const ProductImage* SarDataset::image() const {
    return shown_.empty() ? opened_->firstImage() : shown_.front().image;
}

/// Fills a domain when it is first asked for. Warns once about what is not available.
void SarDataset::provide(const char* name) {
    const char* domain = name ? name : "";
    if (!provided_.insert(domain).second)
        return;
    try {
        if (EQUAL(domain, ""))
            provideItems();
        else if (EQUAL(domain, "SUBDATASETS"))
            provideSubdatasets();
        else if (EQUAL(domain, "RPC"))
            for (const auto& [key, text] : reference_->rpc())
                oMDMD.SetMetadataItem(key.c_str(), text.c_str(), "RPC");
        else if (STARTS_WITH(domain, jsonPrefix))
            provideNode(domain + strlen(jsonPrefix));
    } catch (const loader::Error& error) {
        CPLError(CE_Warning, CPLE_AppDefined, "%s", error.what());
    }
}

void SarDataset::provideNode(const std::string& name) {
    const std::vector<std::string>& names = opened_->nodeNames();
    if (std::find(names.begin(), names.end(), ":" + name) == names.end())
        return;
    std::string remarks;
    CPLStringList json;
    json.AddString(kmif_NodeToJson(opened_->product.node(":" + name, remarks)).c_str());
    oMDMD.SetMetadata(json.List(), (jsonPrefix + name).c_str());
    if (!remarks.empty())
        CPLError(CE_Warning, CPLE_AppDefined, "%s: node %s: %s", opened_->name().c_str(),
                 name.c_str(), remarks.c_str());
}

char** SarDataset::GetMetadataDomainList() {
    for (const char* domain : {"", "SUBDATASETS", "RPC"})
        provide(domain);
    CPLStringList domains(GDALPamDataset::GetMetadataDomainList());
    for (const std::string& name : opened_->nodeNames()) {
        const std::string domain = jsonPrefix + name.substr(1);
        if (domains.FindString(domain.c_str()) < 0)
            domains.AddString(domain.c_str());
    }
    return domains.StealList();
}

MetadataList SarDataset::GetMetadata(const char* domain) {
    provide(domain);
    return GDALPamDataset::GetMetadata(domain);
}

const char* SarDataset::GetMetadataItem(const char* name, const char* domain) {
    provide(domain);
    return GDALPamDataset::GetMetadataItem(name, domain);
}

char** SarDataset::GetFileList() {
    CPLStringList files;
    const auto add = [&](const std::string& file) {
        if (!file.empty() && files.FindString(file.c_str()) < 0 &&
            kfio::fileState(file).isRegularFile)
            files.AddString(file.c_str());
    };
    add(opened_->name());
    const CPLStringList sidecars(GDALPamDataset::GetFileList());
    for (int i = 0; i < sidecars.size(); ++i)
        add(sidecars[i]); // also what GDAL takes as the dataset's own file, unless it is a folder
    const product::StatedProduct& stated = opened_->stated();
    for (const std::string& file : stated.facts().documents)
        add(file);
    for (const product::StatedImage& image : stated.facts().images)
        add(image.file);
    if (opened_->hasBursts())
        for (const ProductImage& image : opened_->burstImages())
            add(image.file);
    for (const std::string& file : stated.furtherFiles())
        add(file);
    return files.StealList();
}

bool SarDataset::copyGeoTransform(double* transform) const {
    const auto& known = reference_->geoTransform();
    if (known)
        std::copy(known->begin(), known->end(), transform);
    return known.has_value();
}

const OGRSpatialReference* SarDataset::GetSpatialRef() const {
    return reference_->geoTransform() ? &reference_->system() : GDALPamDataset::GetSpatialRef();
}

int SarDataset::GetGCPCount() {
    return reference_->gcps().count();
}

const OGRSpatialReference* SarDataset::GetGCPSpatialRef() const {
    return reference_->gcps().count() == 0 ? nullptr : &reference_->system();
}

const GDAL_GCP* SarDataset::GetGCPs() {
    return reference_->gcps().data();
}

CPLErr SarDataset::IBuildOverviews(const char* resampling, int count, const int* factors,
                                   int bandCount, const int* bandNumbers, GDALProgressFunc progress,
                                   void* progressData, CSLConstList options) {
    const auto any = [&](auto is) {
        return std::any_of(shown_.begin(), shown_.end(), [&](const Entry& e) { return (e.*is)(); });
    };
    const char* method = resampling;
    if (EQUAL(resampling, "AVERAGE")) {
        const bool decibels = !shown_.empty() && shown_.front().decibels;
        if (any(&Entry::isPhase) || decibels) {
            CPLError(CE_Failure, CPLE_NotSupported,
                     "%s: %s cannot be averaged; use the resampling method nearest",
                     GetDescription(), decibels ? "decibels" : "phases");
            return CE_Failure;
        }
        // Neighbouring magnitudes are averaged in power.
        if (any(&Entry::isMagnitude))
            method = "RMS";
    }
    // Bypasses the sidecar file, which would name the overviews itself.
    // NOLINTNEXTLINE(bugprone-parent-virtual-call)
    return GDALDataset::IBuildOverviews(method, count, factors, bandCount, bandNumbers, progress,
                                        progressData, options);
}

} // namespace rf_sar_gdal
