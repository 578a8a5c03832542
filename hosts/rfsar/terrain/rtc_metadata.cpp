// SPDX-License-Identifier: MIT
#include "terrain/rtc_metadata.h"

#include "output/origin_metadata.h"
#include "output/stac_item.h"
#include "product/place/stated_place.h"
#include "rf_constants.h"
#include "terrain/terrain_strips.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>

namespace {

using sarm::Vec3;

std::string text(double value, int decimals) {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    return buffer;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& each : texts)
        all += (all.empty() ? "" : ", ") + each;
    return all;
}

/// How far the sensor model's places lie from the product's tie points, m on the ground.
void addGeolocation(MetadataItems& items, const product::OpenedProduct& opened,
                    const product::Locator& locator, const product::Raster& image) {
    const auto ties = product::statedByProduct(opened.stated(), image.width(), image.height()).ties;
    double sums[2] = {}, squares[2] = {};
    double count = 0;
    for (const product::TiePoint& tie : ties) {
        const KxfrPixel pixel{tie.sample, tie.line};
        KxfrMapPoint found{0, 0, tie.heightM};
        locator.toGround({&pixel, 1}, {&found, 1});
        if (!std::isfinite(found.x))
            continue;
        constexpr double radians = constants::radiansPerDegree, earthM = 6371000;
        const double errors[2] = {std::remainder(found.x - tie.lonDeg, 360.0) * radians * earthM *
                                      std::cos(tie.latDeg * radians),
                                  (found.y - tie.latDeg) * radians * earthM};
        for (int axis = 0; axis < 2; ++axis) {
            sums[axis] += errors[axis];
            squares[axis] += errors[axis] * errors[axis];
        }
        ++count;
    }
    if (count < 2) {
        items.emplace_back("GEOLOCATION_ERROR", "not known: the product states no tie points");
        return;
    }
    const char* names[2] = {"EAST", "NORTH"};
    for (int axis = 0; axis < 2; ++axis) {
        const double mean = sums[axis] / count;
        const double variance = (squares[axis] - count * mean * mean) / (count - 1);
        items.emplace_back(std::string("GEOLOCATION_BIAS_") + names[axis] + "_M", text(mean, 3));
        items.emplace_back(std::string("GEOLOCATION_STDDEV_") + names[axis] + "_M",
                           text(std::sqrt(std::max(variance, 0.0)), 3));
    }
    items.emplace_back("GEOLOCATION_REFERENCE",
                       "the product's " + text(count, 0) + " tie points at their own heights");
}

} // namespace

MetadataItems rtcMetadata(const product::OpenedProduct& opened, const product::Locator& locator,
                          const std::vector<product::BetaNought>& images,
                          const RtcAccount& account) {
    MetadataItems items = originMetadata(opened, {}, account.noiseRemoved);
    items.emplace_back("BACKSCATTER_MEASUREMENT", "gamma nought, terrain-flattened");
    items.emplace_back("BACKSCATTER_CONVENTION", account.inDb ? "dB" : "linear power");
    items.emplace_back("SOURCE_MEASUREMENT",
                       images.front().fromSigma
                           ? "sigma nought / sine of the incidence angle on the ellipsoid"
                           : "beta nought of the product's tables");
    items.emplace_back(
        "RTC_ALGORITHM",
        "areas of terrain triangles, exact in the image; D. Small, Flattening Gamma, "
        "IEEE TGRS 49(8), 2011, doi:10.1109/TGRS.2011.2120616; area projection: G. "
        "Shiroma et al., IEEE TGRS 60, 2022, doi:10.1109/TGRS.2022.3147472");
    items.emplace_back("RTC_LEAST_AREA", text(leastGammaArea, 2) +
                                             " of the pixel's slant-plane area; below it a pixel "
                                             "counts as shadow");
    items.emplace_back("MASK_BITS", "1 valid, 2 layover, 4 shadow, 8 outside");
    items.emplace_back("DEM", joined(account.elevation));
    items.emplace_back("DEM_HEIGHTS",
                       account.elevationHeights == "auto"
                           ? "as the files state; converted to the WGS 84 ellipsoid"
                           : account.elevationHeights + "; converted to the WGS 84 ellipsoid");
    if (!account.noiseRemoved)
        items.emplace_back("NOISE_REMOVED", "NO");
    for (const product::BetaNought& image : images)
        if (image.noiseDb) {
            const std::string pole = image.pole.empty() ? "" : "_" + image.pole;
            items.emplace_back("NOISE_EQUIVALENT_SIGMA_NOUGHT" + pole + "_DB",
                               text(image.noiseDb->first, 2) + " to " +
                                   text(image.noiseDb->second, 2));
        }
    items.emplace_back("SPECKLE_FILTER", "none");
    if (account.frame)
        items.emplace_back("RESAMPLING", account.resampling + ", as a ratio of sums");
    addGeolocation(items, opened, locator, *images.front().power);
    return items;
}

nlohmann::ordered_json rtcStacItem(const std::string& file, const std::string& output,
                                   const std::vector<kimg::TiffBand>& bands,
                                   const MetadataItems& metadata, const RtcAccount& account,
                                   std::vector<std::string>& warnings) {
    namespace fs = std::filesystem;
    const fs::path image = fs::absolute(output).lexically_normal();
    auto item = stacItem(file, output + ".json", warnings);
    item["id"] = item["id"].get<std::string>() + "_rtc";
    auto& properties = item["properties"];
    properties["sar:product_type"] = "RTC";
    for (const auto& [key, value] : metadata) {
        if (key.starts_with("TIFFTAG_")) // what other items say, for pictures
            continue;
        std::string name = "rtc:" + key;
        for (char& c : name)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        properties[name] = value;
    }
    for (const char* key : {"proj:epsg", "proj:shape", "proj:transform"})
        properties.erase(key);
    properties["proj:epsg"] = nullptr;
    if (account.frame) {
        const product::MapFrame& frame = *account.frame;
        properties["proj:wkt2"] = frame.wkt;
        properties["proj:shape"] = {frame.height, frame.width};
        properties["proj:transform"] = {frame.step, 0, frame.left, 0, -frame.step, frame.top};
    }
    auto list = nlohmann::ordered_json::array();
    for (const kimg::TiffBand& band : bands) {
        list.push_back({{"name", band.name}});
        if (!band.unit.empty())
            list.back()["unit"] = band.unit;
    }
    item["assets"] = {{"data",
                       {{"href", image.filename().string()},
                        {"type", "image/tiff; application=geotiff"},
                        {"roles", {"data"}},
                        {"bands", list}}}};
    return item;
}
