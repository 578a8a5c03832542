// SPDX-License-Identifier: MIT
#pragma once

#include "support/temporary_folder.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Products just big enough for discovery, with the odd cases that tests ask for.
namespace support {

struct XmlProduct {
    std::string satellite = "RADARSAT-2";
    std::string type = "SLC";
    std::string polarizations = "HH HV";
    std::vector<std::string> images = {"imagery_HH.tif", "imagery_HV.tif"};
    std::string newline = "\n";
    std::string attributes = " xmlns=\"http://www.rsi.ca/rs2/prod/xml/schemas\"";
};
std::string xmlText(const XmlProduct& product);

/// A Capella item. An empty href leaves the assets out.
std::string capellaItem(const std::string& type, const std::string& polarizationsJson,
                        const std::string& lastPole, const std::string& href);
std::string capellaExtended(const std::string& type);

enum class SampleType { uint16, int16, float32, complexInt16, complexFloat32 };

struct ImageShape {
    int width = 64;
    int height = 48;
    int bands = 1;
    SampleType type = SampleType::uint16;
    bool tiled = false; ///< tiles of 16 x 32, else strips of one line
};
/// Writes a GeoTIFF; `value(band, x, y)` gives real and imaginary part.
void writeImage(const std::string& name, const ImageShape& shape,
                const std::function<std::pair<double, double>(int, int, int)>& value);

} // namespace support
