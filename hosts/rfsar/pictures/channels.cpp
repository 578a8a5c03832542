// SPDX-License-Identifier: MIT
#include "pictures/channels.h"

#include <strings.h>

#include <algorithm>
#include <sstream>

namespace {

using product::Entry;
using Opened = std::shared_ptr<const product::OpenedProduct>;

std::vector<std::string> splitAt(const std::string& text, char mark) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, mark);)
        parts.push_back(part);
    return parts;
}

/// Detected magnitudes, or complex samples of complex images; for power the first calibrated entry.
const Entry* entryOfPole(const std::vector<Entry>& entries, const std::string& pole, bool power) {
    const Entry* found = nullptr;
    for (const Entry& entry : entries)
        if (power && entry.isPower() && strcasecmp(entry.pole.c_str(), pole.c_str()) == 0)
            return &entry;
        else if (strcasecmp(entry.pole.c_str(), pole.c_str()) == 0 &&
                 (entry.kind == Entry::Kind::complexSamples || (!found && entry.isMagnitude())))
            found = &entry;
    return found;
}

/// Quad: HH, HV, VV. Else the two polarizations and their ratio, the co-polarized one first.
std::string usualColours(const std::vector<Entry>& entries, const std::string& product) {
    std::vector<std::string> poles;
    for (const Entry& entry : entries)
        if (entry.isMagnitude() || entry.kind == Entry::Kind::complexSamples)
            if (std::find(poles.begin(), poles.end(), entry.pole) == poles.end())
                poles.push_back(entry.pole);
    const auto has = [&](const char* pole) {
        return std::find(poles.begin(), poles.end(), pole) != poles.end();
    };
    if (has("HH") && has("HV") && has("VV"))
        return "HH,HV,VV";
    if (poles.size() < 2)
        throw loader::Error(product + ": has one polarization, but colours need two or more");
    if (poles[1].size() == 2 && poles[1][0] == poles[1][1] && poles[0][0] != poles[0][1])
        std::swap(poles[0], poles[1]);
    return poles[0] + "," + poles[1] + "," + poles[0] + "/" + poles[1];
}

std::unique_ptr<product::Raster> rasterOfPole(const Opened& opened,
                                              const std::vector<Entry>& entries,
                                              const std::string& pole, bool denoised) {
    const Entry* entry = entryOfPole(entries, pole, denoised);
    if (!entry)
        throw loader::Error(opened->product.name() + ": has no polarization \"" + pole + "\"");
    return openRaster(opened, treated(*entry, {false, denoised}));
}

} // namespace

Channel greyChannel(const Opened& opened, const std::string& layer,
                    const product::Treatment& treatment) {
    const std::vector<Entry> entries = entriesOf(
        *opened, layer.empty() ? std::vector<std::string>() : std::vector{layer}, treatment);
    if (entries.size() > 1)
        throw loader::Error(
            opened->product.name() + ": \"" + layer + "\" is of " + std::to_string(entries.size()) +
            " polarizations, a picture in grey shows one: " + entries.front().name + ", ...");
    return {openRaster(opened, linear(entries.front())), nullptr, entries.front().decibels};
}

std::vector<Channel> colourChannels(const Opened& opened, const std::string& rgb,
                                    const product::Treatment& treatment) {
    const std::vector<Entry> entries = catalogue(*opened);
    const std::string wanted = rgb.empty() ? usualColours(entries, opened->product.name()) : rgb;
    const std::vector<std::string> names = splitAt(wanted, ',');
    if (names.size() != 3)
        throw loader::Error("--rgb " + wanted + ": three colours are needed, such as HH,HV,HH/HV");
    std::vector<Channel> channels;
    for (const std::string& name : names) {
        const std::vector<std::string> parts = splitAt(name, '/');
        if (parts.empty() || parts.size() > 2)
            throw loader::Error("--rgb " + wanted + ": \"" + name +
                                "\" is no polarization and no ratio of two");
        Channel channel{rasterOfPole(opened, entries, parts[0], treatment.denoised), nullptr,
                        treatment.decibels};
        if (parts.size() == 2)
            channel.divisor = rasterOfPole(opened, entries, parts[1], treatment.denoised);
        const auto sizeDiffers = [&](const product::Raster& raster) {
            const product::Raster& first =
                channels.empty() ? *channel.raster : *channels.front().raster;
            return raster.width() != first.width() || raster.height() != first.height();
        };
        if (sizeDiffers(*channel.raster) || (channel.divisor && sizeDiffers(*channel.divisor)))
            throw loader::Error(opened->product.name() +
                                ": its images differ in size and make no colours");
        channels.push_back(std::move(channel));
    }
    return channels;
}
