// SPDX-License-Identifier: MIT
#include "product/images/catalogue.h"

#include "product/bursts/burst_record.h"
#include "product/radiometry/table_for.h"

#include <strings.h>

#include <algorithm>

namespace product {
namespace {

const char* typeName(ImageSamples::Type type) {
    switch (type) {
    case ImageSamples::Type::complexInt16:
        return "CInt16";
    case ImageSamples::Type::complexFloat32:
        return "CFloat32";
    default:
        return "CFloat64";
    }
}

bool sameName(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

constexpr char linearPower[] = ", linear power, Float32";
constexpr char decibelPower[] = ", dB, Float32";
constexpr char decibelMark[] = "_DB";
constexpr char noiseName[] = "NESZ", noiseTitle[] = "noise-equivalent sigma nought";
constexpr char angleName[] = "INCIDENCE_ANGLE";

const char* titleOf(Radiometry kind) {
    switch (kind) {
    case Radiometry::sigmaNought:
        return "sigma nought";
    case Radiometry::betaNought:
        return "beta nought";
    default:
        return "gamma";
    }
}

std::string withPole(const std::string& name, const std::string& pole) {
    return pole.empty() ? name : name + "_" + pole;
}

std::string described(const std::string& pole, const std::string& what) {
    return pole.empty() ? what : pole + " " + what;
}

/// For images that cannot be opened this trusts the layers, and for bursts the product, because
/// there may be hundreds.
bool isComplex(const OpenedProduct& opened, const ProductImage& image) {
    if (image.burst)
        return opened.stated().imageClaims().isComplex.value_or(true);
    return image.samples() ? image.samples()->isComplex() : opened.layersInPairs();
}

/// "@beam/burst" for images of bursts.
std::string ofBurst(const ProductImage& image) {
    return image.burst ? '@' + image.burst->name() : "";
}

Entry entryOf(Entry::Kind kind, const std::string& name, const std::string& what,
              const ProductImage& image) {
    Entry entry;
    entry.kind = kind;
    entry.name = withPole(name, image.pole) + ofBurst(image);
    entry.allPoles = name + ofBurst(image);
    entry.description = described(image.pole, what);
    if (image.burst)
        entry.description += ", burst " + image.burst->name();
    entry.pole = image.pole;
    entry.image = &image;
    return entry;
}

void addLayers(const OpenedProduct& opened, std::vector<Entry>& entries) {
    for (const std::string& name : opened.layerNames()) {
        const LayerName parsed = parseLayerName(name);
        const ProductImage* image = opened.imageOf(parsed);
        const std::string pole = image && !image->pole.empty() ? image->pole : parsed.pole;
        const bool hidden =
            image && image->samples() && image->samples()->isComplex() && !opened.layersInPairs();
        const std::string what = parsed.isPhase() ? "phase, Int16"
                                 : hidden         ? "none, as the image is complex, UInt16"
                                                  : "magnitude, UInt16";
        std::string description = described(pole, what);
        if (image && image->burst)
            description += ", burst " + image->burst->name() + " alone";
        Entry entry{Entry::Kind::layer, name, std::move(description), pole, image, {}, {}};
        entry.allPoles = hidden ? "" : parsed.kind;
        entries.push_back(std::move(entry));
    }
}

/// Images that the plug-in's layers do not show: complex images with layers named as detected ones,
/// and products without layers.
void addMagnitudes(const OpenedProduct& opened, std::vector<Entry>& entries) {
    const bool layersShow = !opened.layerNames().empty();
    for (const ProductImage& image : opened.images()) {
        const bool complex = isComplex(opened, image);
        if (opened.layersInPairs() || (layersShow && !complex))
            continue;
        entries.push_back(
            entryOf(Entry::Kind::magnitude, "MAGNITUDE", "magnitude, Float32", image));
        if (complex)
            entries.push_back(
                entryOf(Entry::Kind::phase, "PHASE", "phase, radians, Float32", image));
    }
}

void addComplexSamples(const OpenedProduct& opened, const std::vector<ProductImage>& images,
                       std::vector<Entry>& entries) {
    for (const ProductImage& image : images) {
        if (!isComplex(opened, image))
            continue;
        const std::string type = !image.burst && image.samples()
                                     ? std::string(", ") + typeName(image.samples()->type())
                                     : "";
        entries.push_back(
            entryOf(Entry::Kind::complexSamples, "COMPLEX", "complex samples" + type, image));
    }
}

std::vector<CalibrationTable> tablesOf(const OpenedProduct& opened, Radiometry kind) {
    std::vector<CalibrationTable> tables = opened.stated().calibrationTables();
    std::erase_if(tables, [kind](const CalibrationTable& table) { return table.kind != kind; });
    return tables;
}

Entry calibratedEntry(Radiometry kind, const CalibrationTable& table, const std::string& how,
                      const ProductImage& image) {
    Entry entry = entryOf(Entry::Kind::calibrated, nameOf(kind),
                          std::string(titleOf(kind)) + how + linearPower, image);
    entry.table = table;
    entry.radiometry = kind;
    return entry;
}

constexpr Radiometry allKinds[] = {Radiometry::sigmaNought, Radiometry::betaNought,
                                   Radiometry::gamma};

void addCalibrated(const OpenedProduct& opened, const std::vector<ProductImage>& images,
                   std::vector<Entry>& entries) {
    for (const Radiometry kind : allKinds) {
        const auto tables = tablesOf(opened, kind);
        for (const ProductImage& image : images)
            if (const auto* table = tableFor(tables, image); table && !image.isCrossProduct)
                entries.push_back(calibratedEntry(kind, *table, "", image));
    }
}

/// For products that state only beta nought and have incidence angles.
void addByAngle(const OpenedProduct& opened, std::vector<Entry>& entries) {
    const bool beta = !tablesOf(opened, Radiometry::betaNought).empty();
    const bool others = !tablesOf(opened, Radiometry::sigmaNought).empty() ||
                        !tablesOf(opened, Radiometry::gamma).empty();
    if (!beta || others || !opened.stated().hasRadarGrid())
        return;
    for (const Radiometry kind : {Radiometry::sigmaNought, Radiometry::gamma})
        for (std::size_t i = 0, count = entries.size(); i < count; ++i)
            if (entries[i].kind == Entry::Kind::calibrated &&
                entries[i].radiometry == Radiometry::betaNought)
                entries.push_back(calibratedEntry(kind, entries[i].table, " by the incidence angle",
                                                  *entries[i].image));
}

/// The same names with "_DB" before the polarization.
void addDecibels(std::vector<Entry>& entries) {
    for (std::size_t i = 0, count = entries.size(); i < count; ++i)
        if (entries[i].isPower())
            entries.push_back(treated(entries[i], {true, false}));
}

/// One for each polarization that has a table for any burst.
void addMosaics(const OpenedProduct& opened, std::vector<Entry>& entries) {
    for (const Radiometry kind : allKinds) {
        const auto tables = tablesOf(opened, kind);
        std::vector<std::string> seen;
        for (const ProductImage& image : opened.burstImages()) {
            const auto* table = tableFor(tables, image);
            if (!table || image.isCrossProduct ||
                std::find(seen.begin(), seen.end(), image.pole) != seen.end())
                continue;
            seen.push_back(image.pole);
            const std::string name = "MOSAIC_" + nameOf(kind);
            entries.push_back(
                {Entry::Kind::mosaic,
                 withPole(name, image.pole),
                 described(image.pole, std::string(titleOf(kind)) + " of all bursts" + linearPower),
                 image.pole,
                 nullptr,
                 *table,
                 {},
                 kind,
                 name});
        }
    }
}

void addColumns(const OpenedProduct& opened, std::vector<Entry>& entries) {
    const ProductImage* first = opened.firstImage();
    for (const NoiseTable& table : opened.stated().noiseTables())
        entries.push_back({Entry::Kind::noise,
                           withPole(noiseName, table.pole),
                           described(table.pole, std::string(noiseTitle) + decibelPower),
                           table.pole,
                           first,
                           {},
                           table,
                           {},
                           noiseName});
    if (!opened.stated().incidenceFile().empty() || opened.stated().hasRadarGrid())
        entries.push_back({Entry::Kind::incidence,
                           angleName,
                           "incidence angle, degrees, Float32",
                           "",
                           first,
                           {},
                           {}});
}

void addBurstColumns(const OpenedProduct& opened, std::vector<Entry>& entries) {
    const std::vector<NoiseTable> tables = opened.stated().noiseTables();
    const bool incidence = !opened.stated().incidenceFile().empty();
    const StatedBurst* before = nullptr;
    for (const ProductImage& image : opened.burstImages()) {
        if (const NoiseTable* table = tableFor(tables, image)) {
            Entry entry = entryOf(Entry::Kind::noise, noiseName,
                                  std::string(noiseTitle) + decibelPower, image);
            entry.noise = *table;
            entries.push_back(std::move(entry));
        }
        if (incidence && image.burst != before) {
            Entry entry = entryOf(Entry::Kind::incidence, "", "", image);
            entry.name = angleName + ofBurst(image);
            entry.description = "incidence angle, degrees, Float32, burst " + image.burst->name();
            entry.pole = "";
            entries.push_back(std::move(entry));
        }
        before = image.burst;
    }
}

} // namespace

std::optional<GridPart> partOf(const OpenedProduct& opened, const Entry& entry) {
    if (entry.kind == Entry::Kind::mosaic)
        return wholeOf(opened);
    return entry.image ? partOf(opened, *entry.image) : std::nullopt;
}

bool Entry::isMagnitude() const {
    return (kind == Kind::layer && !isPhase()) || kind == Kind::magnitude;
}

bool Entry::isPhase() const {
    return (kind == Kind::layer && parseLayerName(name).isPhase()) || kind == Kind::phase;
}

std::string nameOf(Radiometry kind) {
    switch (kind) {
    case Radiometry::sigmaNought:
        return "SIGMA_NOUGHT";
    case Radiometry::betaNought:
        return "BETA_NOUGHT";
    default:
        return "GAMMA";
    }
}

std::string calibrationOf(const std::string& name) {
    for (const Radiometry kind :
         {Radiometry::sigmaNought, Radiometry::betaNought, Radiometry::gamma})
        if (name.find(nameOf(kind)) != std::string::npos)
            return kind == Radiometry::gamma ? "gamma nought" : titleOf(kind);
    if (name.find(noiseName) != std::string::npos)
        return noiseTitle;
    if (name.find(angleName) != std::string::npos)
        return "none: angles";
    return "none: samples as the product stores them";
}

std::vector<Entry> catalogue(const OpenedProduct& opened) {
    std::vector<Entry> entries;
    addLayers(opened, entries);
    if (opened.hasBursts()) {
        addMosaics(opened, entries);
        addComplexSamples(opened, opened.burstImages(), entries);
        addCalibrated(opened, opened.burstImages(), entries);
        addBurstColumns(opened, entries);
    } else {
        addMagnitudes(opened, entries);
        addComplexSamples(opened, opened.images(), entries);
        addCalibrated(opened, opened.images(), entries);
        addByAngle(opened, entries);
        addColumns(opened, entries);
    }
    addDecibels(entries);
    return entries;
}

Entry linear(Entry entry) {
    if (entry.decibels && entry.isPower()) {
        const auto without = [](std::string text, const std::string& part) {
            const auto at = text.find(part);
            return at == std::string::npos ? text : text.erase(at, part.size());
        };
        entry.name = without(entry.name, decibelMark);
        entry.allPoles = without(entry.allPoles, decibelMark);
        entry.description.replace(entry.description.find(decibelPower),
                                  std::string_view(decibelPower).size(), linearPower);
    }
    entry.decibels = false;
    return entry;
}

Entry treated(Entry entry, const Treatment& treatment) {
    const bool hasPower =
        entry.isPower() || entry.isMagnitude() || entry.kind == Entry::Kind::complexSamples;
    if (treatment.denoised && !entry.isPower())
        throw loader::Error("layer " + entry.name +
                            ": noise is subtracted from calibrated power alone, such as " +
                            nameOf(Radiometry::sigmaNought));
    entry.denoised |= treatment.denoised;
    if (!treatment.decibels || entry.decibels || entry.kind == Entry::Kind::noise)
        return entry;
    if (!hasPower)
        throw loader::Error("layer " + entry.name + ": holds " +
                            (entry.isPhase() ? "phases" : "angles") +
                            ", which have no decibels; only powers and magnitudes do");
    entry.decibels = true;
    if (entry.isPower()) {
        const auto base = entry.allPoles.find('@');
        entry.name.insert(std::min(base, entry.allPoles.size()), decibelMark);
        entry.allPoles.insert(std::min(base, entry.allPoles.size()), decibelMark);
        entry.description.replace(entry.description.find(linearPower),
                                  std::string_view(linearPower).size(), decibelPower);
    }
    return entry;
}

std::vector<Entry> entriesNamed(const OpenedProduct& opened, const std::vector<Entry>& entries,
                                const std::string& name) {
    std::vector<Entry> found;
    for (const Entry& entry : entries)
        if (sameName(entry.name, name))
            return {entry};
        else if (sameName(entry.allPoles, name))
            found.push_back(entry);
    if (found.empty())
        throw loader::Error(opened.name() + ": the product has no layer \"" + name + "\"");
    return found;
}

std::vector<Entry> entriesOf(const OpenedProduct& opened, const std::vector<std::string>& names,
                             const Treatment& treatment) {
    const std::vector<std::string>& layers = opened.layerNames();
    const auto isLayer = [&](const std::string& name) {
        return std::find(layers.begin(), layers.end(), name) != layers.end();
    };
    std::vector<Entry> found;
    if (std::all_of(names.begin(), names.end(), isLayer) && !layers.empty()) {
        for (const std::string& name : names.empty() ? std::vector{layers.front()} : names)
            found.push_back({Entry::Kind::layer, name, "", "", nullptr, {}, {}});
    } else {
        const std::vector<Entry> entries = catalogue(opened);
        if (entries.empty())
            throw loader::Error(opened.name() + ": the product has no layers");
        if (names.empty())
            found = {entries.front()};
        for (const std::string& name : names)
            for (Entry& entry : entriesNamed(opened, entries, name))
                found.push_back(std::move(entry));
    }
    for (Entry& entry : found)
        entry = treated(std::move(entry), treatment);
    return found;
}

std::vector<Entry> clearest(const std::vector<Entry>& entries) {
    const auto chosen = [&](const auto& fits) {
        std::vector<Entry> found;
        std::copy_if(entries.begin(), entries.end(), std::back_inserter(found), fits);
        return found;
    };
    for (const Entry::Kind kind : {Entry::Kind::mosaic, Entry::Kind::calibrated})
        for (const Radiometry each : allKinds) {
            auto found = chosen([&](const Entry& entry) {
                return entry.kind == kind && entry.radiometry == each && entry.decibels &&
                       !entry.isOfBurst();
            });
            if (!found.empty())
                return found;
        }
    auto magnitudes = chosen([](const Entry& e) { return e.kind == Entry::Kind::magnitude; });
    return !magnitudes.empty() ? magnitudes
                               : chosen([](const Entry& e) { return e.isMagnitude(); });
}

std::vector<Entry> wholeProduct(const std::vector<Entry>& entries) {
    const auto of = [&](Entry::Kind kind) {
        std::vector<Entry> chosen;
        std::copy_if(entries.begin(), entries.end(), std::back_inserter(chosen),
                     [kind](const Entry& e) { return e.kind == kind && !e.decibels; });
        return chosen;
    };
    std::vector<Entry> mosaics = of(Entry::Kind::mosaic);
    std::erase_if(mosaics, [&](const Entry& entry) {
        return entry.radiometry != mosaics.front().radiometry;
    });
    if (!mosaics.empty())
        return mosaics;
    std::vector<Entry> samples = of(Entry::Kind::complexSamples);
    std::erase_if(samples, [](const Entry& entry) { return entry.image->burst != nullptr; });
    return samples.empty() ? of(Entry::Kind::layer) : samples;
}

} // namespace product
