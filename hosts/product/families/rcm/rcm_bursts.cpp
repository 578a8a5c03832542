// SPDX-License-Identifier: MIT
#include "product/families/rcm/rcm_bursts.h"

#include "loader/plugin.h"
#include "product/families/document_text.h"

#include <algorithm>
#include <limits>
#include <map>
#include <tuple>

namespace product {
namespace {

using kfio::ProductTree;

constexpr char beamOf[] = "<xmlattr>/beam";
constexpr char burstOf[] = "<xmlattr>/burst";
constexpr char estimateName[] = "dopplerCentroidEstimate";

/// @return the children of that name.
std::vector<const ProductTree*> childrenOf(const ProductTree& root, const std::string& parent,
                                           std::string_view name) {
    std::vector<const ProductTree*> found;
    if (const ProductTree* element = elementAt(root, parent))
        for (const auto& [key, child] : *element)
            if (key == name)
                found.push_back(&child);
    return found;
}

/// The numbers in the children of a name, by beam.
std::map<std::string, double> byBeam(const ProductTree& root, const std::string& parent,
                                     std::string_view name, const std::string& path) {
    std::map<std::string, double> values;
    for (const ProductTree* element : childrenOf(root, parent, name))
        if (const auto value = numberOf(path.empty() ? element->data() : textAt(*element, path)))
            values.emplace(textAt(*element, beamOf), *value);
    return values;
}

double valueFor(const std::map<std::string, double>& values, const std::string& beam) {
    for (const std::string& key : {beam, std::string()})
        if (const auto found = values.find(key); found != values.end())
            return found->second;
    return 0;
}

/// Doppler estimates by beam and burst; the beam is "" where only the burst is stated.
class Estimates {
public:
    Estimates(const ProductTree& root, const std::string& file) : file_(file) {
        for (const ProductTree* element : childrenOf(root, "dopplerCentroid", estimateName))
            found_[{textAt(*element, beamOf), textAt(*element, burstOf)}].push_back(element);
    }
    /// @return nothing when there is none or the choice is ambiguous.
    std::optional<StatedDoppler> of(const std::string& beam, int number) const {
        for (const std::string& key : {beam, std::string()})
            if (const auto found = found_.find({key, std::to_string(number)});
                found != found_.end() && found->second.size() == 1)
                return read(*found->second.front());
        return std::nullopt;
    }

private:
    StatedDoppler read(const ProductTree& element) const {
        return {textAt(element, "timeOfDopplerCentroidEstimate"),
                numberOf(textAt(element, "dopplerCentroidReferenceTime")).value_or(0),
                parseNumbers(textAt(element, "dopplerCentroidCoefficients"), file_)};
    }

    std::string file_;
    std::map<std::pair<std::string, std::string>, std::vector<const ProductTree*>> found_;
};

std::int64_t required(const ProductTree& image, const char* name, const std::string& burst,
                      const std::string& file) {
    const std::string text = textAt(image, name);
    if (text.empty())
        throw loader::Error(file + ": burst " + burst + " states no " + name);
    constexpr std::int64_t farthest = std::numeric_limits<std::int32_t>::max();
    const std::int64_t number = parseInteger(text, file);
    if (std::abs(number) > farthest)
        throw loader::Error(file + ": burst " + burst + " states the " + name + ' ' + text +
                            ", beyond any image");
    return number;
}

} // namespace

std::vector<StatedBurst> rcmBursts(const ProductTree& root, const std::string& file,
                                   const ImagesOf& imagesOf) {
    const auto images = childrenOf(root, "sceneAttributes", "imageAttributes");
    if (images.size() < 2 && (images.empty() || textAt(*images.front(), burstOf).empty()))
        return {};
    const std::string radar = "sourceAttributes/radarParameters";
    const std::string processing = "imageGenerationParameters/sarProcessingInformation";
    const auto rates = byBeam(root, radar, "prfInformation", "pulseRepetitionFrequency");
    const auto bandwidths = byBeam(root, processing, "totalProcessedAzimuthBandwidth", "");
    const Estimates estimates(root, file);
    std::map<std::string, int> counted;
    std::vector<StatedBurst> bursts;
    for (const ProductTree* image : images) {
        StatedBurst burst;
        burst.beam = firstText({textAt(*image, beamOf), "BEAM"});
        const std::string number = textAt(*image, burstOf);
        burst.number = number.empty() ? ++counted[burst.beam]
                                      : static_cast<int>(std::clamp<std::int64_t>(
                                            parseInteger(number, file), -1, 1 << 20));
        burst.lines = parseSize(textAt(*image, "numLines"), file);
        burst.samples = parseSize(textAt(*image, "samplesPerLine"), file);
        if (burst.lines == 0 || burst.samples == 0)
            throw loader::Error(file + ": burst " + burst.name() + " states no size");
        burst.lineOffset = required(*image, "lineOffset", burst.name(), file);
        burst.sampleOffset = required(*image, "pixelOffset", burst.name(), file);
        burst.images = imagesOf(*image);
        burst.pulseRateHz = valueFor(rates, burst.beam);
        burst.azimuthBandwidthHz = valueFor(bandwidths, burst.beam);
        burst.doppler = estimates.of(burst.beam, burst.number);
        bursts.push_back(std::move(burst));
    }
    std::stable_sort(bursts.begin(), bursts.end(), [](const StatedBurst& a, const StatedBurst& b) {
        return std::tie(a.beam, a.number, a.lineOffset, a.sampleOffset) <
               std::tie(b.beam, b.number, b.lineOffset, b.sampleOffset);
    });
    return bursts;
}

} // namespace product
