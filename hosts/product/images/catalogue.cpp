#include "product/images/catalogue.h"

#include "product/bursts/burst_record.h"
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

/// Images that could not be opened are taken for what the layers say, bursts for what the product
/// says of them: there may be hundreds.
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
        entries.push_back({Entry::Kind::layer, name, std::move(description), pole, image, {}, {}});
    }
}

/// What the plug-in's layers do not show: complex images whose layers are named as detected ones,
/// and products that have no layers.
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

bool serves(const std::string& stated, const std::string& wanted) {
    return stated.empty() || stated == wanted;
}

/// @return the first table that serves an image; null when none does.
template <class Table>
const Table* tableFor(const std::vector<Table>& tables, const ProductImage& image) {
    const auto found = std::find_if(tables.begin(), tables.end(), [&](const Table& table) {
        return serves(table.pole, image.pole) &&
               (table.beam.empty() || (image.burst && table.beam == image.burst->beam));
    });
    return found == tables.end() ? nullptr : &*found;
}

std::vector<CalibrationTable> tablesOf(const OpenedProduct& opened, Radiometry kind) {
    std::vector<CalibrationTable> tables = opened.stated().calibrationTables();
    std::erase_if(tables, [kind](const CalibrationTable& table) { return table.kind != kind; });
    return tables;
}

constexpr Radiometry allKinds[] = {Radiometry::sigmaNought, Radiometry::betaNought,
                                   Radiometry::gamma};

void addCalibrated(const OpenedProduct& opened, const std::vector<ProductImage>& images,
                   std::vector<Entry>& entries) {
    for (const Radiometry kind : allKinds) {
        const auto tables = tablesOf(opened, kind);
        for (const ProductImage& image : images)
            if (const auto* table = tableFor(tables, image); table && !image.isCrossProduct) {
                Entry entry =
                    entryOf(Entry::Kind::calibrated, nameOf(kind),
                            std::string(titleOf(kind)) + ", linear power, Float32", image);
                entry.table = *table;
                entries.push_back(std::move(entry));
            }
    }
}

/// One a polarization that has a table for any burst.
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
            entries.push_back({Entry::Kind::mosaic,
                               withPole("MOSAIC_" + nameOf(kind), image.pole),
                               described(image.pole, std::string(titleOf(kind)) +
                                                         " of all bursts, linear power, Float32"),
                               image.pole,
                               nullptr,
                               *table,
                               {}});
        }
    }
}

void addColumns(const OpenedProduct& opened, std::vector<Entry>& entries) {
    const ProductImage* first = opened.firstImage();
    for (const NoiseTable& table : opened.stated().noiseTables())
        entries.push_back({Entry::Kind::noise,
                           withPole("NESZ", table.pole),
                           described(table.pole, "noise-equivalent sigma nought, dB, Float32"),
                           table.pole,
                           first,
                           {},
                           table});
    if (!opened.stated().incidenceFile().empty() || opened.stated().hasRadarGrid())
        entries.push_back({Entry::Kind::incidence,
                           "INCIDENCE_ANGLE",
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
            Entry entry = entryOf(Entry::Kind::noise, "NESZ",
                                  "noise-equivalent sigma nought, dB, Float32", image);
            entry.noise = *table;
            entries.push_back(std::move(entry));
        }
        if (incidence && image.burst != before) {
            Entry entry = entryOf(Entry::Kind::incidence, "", "", image);
            entry.name = "INCIDENCE_ANGLE" + ofBurst(image);
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

std::vector<Entry> catalogue(const OpenedProduct& opened) {
    std::vector<Entry> entries;
    addLayers(opened, entries);
    if (opened.hasBursts()) {
        addMosaics(opened, entries);
        addComplexSamples(opened, opened.burstImages(), entries);
        addCalibrated(opened, opened.burstImages(), entries);
        addBurstColumns(opened, entries);
        return entries;
    }
    addMagnitudes(opened, entries);
    addComplexSamples(opened, opened.images(), entries);
    addCalibrated(opened, opened.images(), entries);
    addColumns(opened, entries);
    return entries;
}

std::vector<Entry> wholeProduct(const std::vector<Entry>& entries) {
    const auto of = [&](Entry::Kind kind) {
        std::vector<Entry> chosen;
        std::copy_if(entries.begin(), entries.end(), std::back_inserter(chosen),
                     [kind](const Entry& entry) { return entry.kind == kind; });
        return chosen;
    };
    std::vector<Entry> mosaics = of(Entry::Kind::mosaic);
    std::erase_if(mosaics, [&](const Entry& entry) {
        return entry.table.kind != mosaics.front().table.kind;
    });
    if (!mosaics.empty())
        return mosaics;
    std::vector<Entry> samples = of(Entry::Kind::complexSamples);
    std::erase_if(samples, [](const Entry& entry) { return entry.image->burst != nullptr; });
    return samples.empty() ? of(Entry::Kind::layer) : samples;
}

} // namespace product
