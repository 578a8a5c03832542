#include "product/images/catalogue.h"

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

/// Images that could not be opened are taken for what the layers say.
bool isComplex(const OpenedProduct& opened, const ProductImage& image) {
    return image.samples ? image.samples->isComplex() : opened.layersInPairs();
}

void addLayers(const OpenedProduct& opened, std::vector<Entry>& entries) {
    for (const std::string& name : opened.layerNames()) {
        const LayerName parsed = parseLayerName(name);
        const ProductImage* image = opened.imageOf(parsed);
        const std::string pole = image && !image->pole.empty() ? image->pole : parsed.pole;
        const bool hidden =
            image && image->samples && image->samples->isComplex() && !opened.layersInPairs();
        const std::string what = parsed.isPhase() ? "phase, Int16"
                                 : hidden         ? "none, as the image is complex, UInt16"
                                                  : "magnitude, UInt16";
        entries.push_back({Entry::Kind::layer, name, described(pole, what), pole, image, {}, {}});
    }
}

void addComplexSamples(const OpenedProduct& opened, std::vector<Entry>& entries) {
    for (const ProductImage& image : opened.images()) {
        if (!isComplex(opened, image))
            continue;
        const std::string type =
            image.samples ? std::string(", ") + typeName(image.samples->type()) : "";
        entries.push_back({Entry::Kind::complexSamples,
                           withPole("COMPLEX", image.pole),
                           described(image.pole, "complex samples" + type),
                           image.pole,
                           &image,
                           {},
                           {}});
    }
}

void addCalibrated(const OpenedProduct& opened, std::vector<Entry>& entries) {
    const auto tables = opened.stated().calibrationTables();
    for (const Radiometry kind :
         {Radiometry::sigmaNought, Radiometry::betaNought, Radiometry::gamma})
        for (const ProductImage& image : opened.images()) {
            const auto table =
                std::find_if(tables.begin(), tables.end(), [&](const auto& candidate) {
                    return candidate.kind == kind &&
                           (candidate.pole.empty() || candidate.pole == image.pole);
                });
            if (table == tables.end())
                continue;
            const std::string what = std::string(titleOf(kind)) + ", linear power, Float32";
            entries.push_back({Entry::Kind::calibrated,
                               withPole(nameOf(kind), image.pole),
                               described(image.pole, what),
                               image.pole,
                               &image,
                               *table,
                               {}});
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

} // namespace

bool Entry::isMagnitude() const {
    return kind == Kind::layer && !isPhase();
}

bool Entry::isPhase() const {
    return kind == Kind::layer && parseLayerName(name).isPhase();
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
    addComplexSamples(opened, entries);
    addCalibrated(opened, entries);
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
    std::vector<Entry> samples = of(Entry::Kind::complexSamples);
    return samples.empty() ? of(Entry::Kind::layer) : samples;
}

} // namespace product
