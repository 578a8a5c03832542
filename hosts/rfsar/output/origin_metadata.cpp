// SPDX-License-Identifier: MIT
#include "output/origin_metadata.h"

#include "product/images/catalogue.h"
#include "product/metadata_items.h"
#include "product/radiometry/noise_power.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace {

class Items {
public:
    explicit Items(MetadataItems& items) : items_(items) {}

    /// Items that the product itself states are not replaced.
    void add(const std::string& key, const std::string& text) {
        const bool there = std::any_of(items_.begin(), items_.end(),
                                       [&](const auto& item) { return item.first == key; });
        if (!there && !text.empty())
            items_.emplace_back(key, text);
    }
    void add(const std::string& key, const std::optional<double>& number) {
        if (!number)
            return;
        std::ostringstream text;
        text.precision(9);
        text << *number;
        add(key, text.str());
    }
    std::string of(const std::string& key) const {
        const auto found = std::find_if(items_.begin(), items_.end(),
                                        [&](const auto& item) { return item.first == key; });
        return found == items_.end() ? "" : found->second;
    }

private:
    MetadataItems& items_;
};

void addAcquisition(Items& items, const product::StatedProduct& stated) {
    const product::Acquisition when = stated.acquisition();
    items.add("SATELLITE_IDENTIFIER", stated.facts().satellite);
    items.add("PRODUCT_TYPE", stated.facts().productType);
    items.add("PRODUCT_ID", when.productId);
    items.add("BEAM_MODE", when.beamMode);
    items.add("ACQUISITION_START_TIME", when.start);
    items.add("ACQUISITION_STOP_TIME", when.stop);
    items.add("ORBIT_DIRECTION", when.pass);
    items.add("ANTENNA_POINTING", when.lookSide);
    items.add("NEAR_RANGE_INCIDENCE_ANGLE", when.nearIncidenceDeg);
    items.add("CENTER_INCIDENCE_ANGLE", when.centreIncidenceDeg);
    items.add("FAR_RANGE_INCIDENCE_ANGLE", when.farIncidenceDeg);
}

/// @return the distinct texts of the bands.
template <class Text>
std::string joined(std::span<const kimg::TiffBand> bands, const Text& text) {
    std::vector<std::string> different;
    std::string all;
    for (const kimg::TiffBand& band : bands) {
        const std::string each = text(band);
        if (std::find(different.begin(), different.end(), each) != different.end())
            continue;
        all += (all.empty() ? "" : ", ") + each;
        different.push_back(each);
    }
    return all;
}

/// "2024-05-06T07:08:09.25Z" as TIFF writes times; "" for others.
std::string tiffTime(const std::string& time) {
    if (time.size() < 19 || time[10] != 'T')
        return "";
    std::string text = time.substr(0, 19);
    text[4] = text[7] = ':';
    text[10] = ' ';
    return text;
}

} // namespace

MetadataItems originMetadata(const product::OpenedProduct& opened,
                             std::span<const kimg::TiffBand> bands, bool noiseRemoved) {
    const product::StatedProduct& stated = opened.stated();
    MetadataItems found = product::metadataItems(stated);
    Items items(found);
    addAcquisition(items, stated);
    const std::string layers = joined(bands, [](const auto& band) { return band.name; });
    if (!bands.empty()) {
        items.add("LAYERS", layers);
        items.add("CALIBRATION", joined(bands, [](const auto& band) {
                      return product::calibrationOf(band.name);
                  }));
        items.add("UNIT", joined(bands, [](const auto& band) {
                      return band.unit.empty() ? std::string("1") : band.unit;
                  }));
    }
    if (noiseRemoved)
        for (const auto& [key, text] : product::noiseRemovedItems())
            items.add(key, text);
    const std::string software = std::string("rfsar ") + RF_SAR_VERSION;
    items.add("SOFTWARE_VERSION", software);
    items.add("TIFFTAG_SOFTWARE", software);
    items.add("TIFFTAG_DOCUMENTNAME", stated.facts().id);
    items.add("TIFFTAG_DATETIME", tiffTime(stated.acquisition().start));
    items.add("TIFFTAG_IMAGEDESCRIPTION",
              stated.facts().satellite + ' ' + stated.facts().productType + ' ' +
                  items.of("BEAM_MODE") + (layers.empty() ? "" : ", " + layers));
    return found;
}
