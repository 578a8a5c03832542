#include "output/stac_place.h"

#include "product/place/ground_ties.h"
#include "product/place/placement.h"

#include <algorithm>
#include <charconv>

namespace {

using product::ProductDocument;
using product::textAt;

std::optional<loader::Layer> firstLayer(const loader::Product* opened,
                                        std::vector<std::string>& warnings) {
    if (!opened)
        return std::nullopt;
    for (const std::string& name : opened->layerNames())
        try {
            return opened->openLayer(name);
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

std::optional<std::array<std::uint32_t, 2>> statedShape(const ProductDocument& document) {
    for (const auto& [lines, samples] :
         {std::pair("imageAttributes/rasterAttributes/numberOfLines",
                    "imageAttributes/rasterAttributes/numberOfSamplesPerLine"),
          std::pair("sceneAttributes/imageAttributes/numLines",
                    "sceneAttributes/imageAttributes/samplesPerLine"),
          std::pair("collect/image/rows", "collect/image/columns")}) {
        const bool capella = document.kind == ProductDocument::Kind::capella;
        const auto& tree = capella ? document.extended : document.root;
        const auto height = parsed<std::uint32_t>(textAt(tree, lines));
        const auto width = parsed<std::uint32_t>(textAt(tree, samples));
        if (height && width && *height > 0 && *width > 0)
            return {{*height, *width}};
    }
    return std::nullopt;
}

/// The outer points of the product's own grid, which stands in the order of its lines.
product::Footprint ofTiePoints(const ProductDocument& document) {
    const std::vector<product::TiePoint> ties = product::tiePoints(document);
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

/// A polygon of the item's own, where it is one of four corners or more.
product::Footprint ofItem(const ProductDocument& document) {
    const auto rings = document.root.get_child_optional("geometry.coordinates");
    std::vector<product::LonLat> ring;
    if (rings && !rings->empty() && textAt(document.root, "geometry/type") == "Polygon")
        for (const auto& [key, point] : rings->front().second) {
            std::vector<double> numbers;
            for (const auto& [index, coordinate] : point)
                if (const auto value = parsed<double>(coordinate.data()))
                    numbers.push_back(*value);
            if (numbers.size() < 2)
                return {};
            ring.push_back({numbers[0], numbers[1]});
        }
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

StacPlace stacPlace(const loader::Product* opened, const ProductDocument& document,
                    std::vector<std::string>& warnings) {
    StacPlace place;
    const auto layer = firstLayer(opened, warnings);
    if (!layer) {
        place.shape = statedShape(document);
        place.footprint = document.kind == ProductDocument::Kind::capella ? ofItem(document)
                                                                          : ofTiePoints(document);
        return place;
    }
    place.shape = {layer->height(), layer->width()};
    try {
        const auto found = std::make_shared<const product::Place>(product::placeOf(*layer));
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
