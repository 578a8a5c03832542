// SPDX-License-Identifier: MIT
#include "output/stac_place.h"

#include "product/bursts/burst_record.h"
#include "product/place/placement.h"

#include <algorithm>
#include <charconv>

namespace {

std::optional<loader::Layer> firstLayer(const product::OpenedProduct* opened,
                                        std::vector<std::string>& warnings) {
    if (!opened)
        return std::nullopt;
    for (const std::string& name : opened->layerNames())
        try {
            return opened->product.openLayer(name);
        } catch (const loader::Error& error) {
            warnings.push_back(opened->name() + ": " + error.what());
        }
    return std::nullopt;
}

template <class Number>
std::optional<Number> parsed(const std::string& text) {
    Number value{};
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (fault != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<std::array<std::uint32_t, 2>> statedShape(const product::StatedProduct& stated) {
    try {
        const product::ImageClaims claims = stated.imageClaims();
        if (claims.width > 0 && claims.height > 0)
            return {{claims.height, claims.width}};
    } catch (const loader::Error&) { // an item does not need it
    }
    return std::nullopt;
}

/// The outer points of the product's own grid, which is ordered by lines.
product::Footprint ofTiePoints(const product::StatedProduct& stated) {
    const std::vector<product::TiePoint>& ties = stated.tiePoints();
    if (ties.empty())
        return {};
    const auto [firstLine, lastLine] = std::minmax_element(
        ties.begin(), ties.end(), [](const auto& a, const auto& b) { return a.line < b.line; });
    const auto [firstSample, lastSample] = std::minmax_element(
        ties.begin(), ties.end(), [](const auto& a, const auto& b) { return a.sample < b.sample; });
    const auto side = [&](double product::TiePoint::*fixed, double at,
                          double product::TiePoint::*along, bool back) {
        std::vector<product::TiePoint> points;
        std::copy_if(ties.begin(), ties.end(), std::back_inserter(points),
                     [&](const product::TiePoint& tie) { return tie.*fixed == at; });
        std::sort(points.begin(), points.end(), [&](const auto& a, const auto& b) {
            return back ? a.*along > b.*along : a.*along < b.*along;
        });
        if (!points.empty())
            points.pop_back(); // the next side begins with it
        return points;
    };
    using Tie = product::TiePoint;
    std::vector<product::LonLat> ring;
    for (const auto& part : {side(&Tie::line, firstLine->line, &Tie::sample, false),
                             side(&Tie::sample, lastSample->sample, &Tie::line, false),
                             side(&Tie::line, lastLine->line, &Tie::sample, true),
                             side(&Tie::sample, firstSample->sample, &Tie::line, true)})
        for (const Tie& tie : part)
            ring.push_back({tie.lonDeg, tie.latDeg});
    return {product::polygonsOf(ring), {}};
}

/// The outline that the product states.
product::Footprint ofOutline(const product::StatedProduct& stated) {
    std::vector<product::LonLat> ring;
    for (const auto& [lonDeg, latDeg] : stated.outline())
        ring.push_back({lonDeg, latDeg});
    if (ring.size() > 1)
        ring.pop_back(); // closed
    return {product::polygonsOf(ring), {}};
}

std::optional<int> epsgOf(const product::Place& found) {
    constexpr std::string_view prefix = "EPSG:";
    if (!found.projection || !found.projection->authority.starts_with(prefix))
        return std::nullopt;
    return parsed<int>(found.projection->authority.substr(prefix.size()));
}

} // namespace

StacPlace stacPlace(const product::OpenedProduct* opened, const product::StatedProduct& stated,
                    std::vector<std::string>& warnings) {
    StacPlace place;
    if (const auto whole = opened ? product::wholeOf(*opened) : std::nullopt) {
        place.shape = {whole->lines, whole->samples};
        try {
            const auto found = std::make_shared<const product::Place>(
                product::placeOf(*opened, *whole, opened->name()));
            place.footprint =
                product::footprintOf(product::Locator(found), whole->samples, whole->lines);
        } catch (const loader::Error& error) {
            warnings.emplace_back(error.what());
        }
        return place;
    }
    const auto layer = firstLayer(opened, warnings);
    if (!layer) {
        place.shape = statedShape(stated);
        place.footprint = stated.outline().empty() ? ofTiePoints(stated) : ofOutline(stated);
        return place;
    }
    place.shape = {layer->height(), layer->width()};
    try {
        const auto found =
            std::make_shared<const product::Place>(product::placeOf(*opened, *layer));
        if (!found->remarks.empty())
            warnings.push_back(found->remarks);
        place.footprint =
            product::footprintOf(product::Locator(found), layer->width(), layer->height());
        const product::Window whole{0, 0, layer->width(), layer->height()};
        if (const auto map = product::placementOf(*found, whole).geoTransform) {
            const auto& t = *map;
            place.transform = {t[1], t[2], t[0], t[4], t[5], t[3]};
            place.epsg = epsgOf(*found);
        }
    } catch (const loader::Error& error) {
        warnings.emplace_back(error.what());
    }
    return place;
}
