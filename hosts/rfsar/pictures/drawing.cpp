// SPDX-License-Identifier: MIT
#include "pictures/drawing.h"

#include "output/origin_metadata.h"
#include "pictures/channels.h"
#include "pictures/graticule.h"
#include "pictures/marks.h"
#include "pictures/orientation.h"
#include "pictures/picture_map.h"

#include <cmath>
#include <cstdio>

namespace {

bool wantsMarks(const DrawingRequest& request) {
    return request.graticule || request.graticuleStepDeg > 0 || request.scaleBar ||
           request.northArrow;
}

/// The image's georeferencing, if it has one.
struct Place {
    std::unique_ptr<product::Locator> locator; ///< null when nothing tells
    std::optional<GroundGrid> ground;
    std::string why; ///< it cannot be told
};

Place placeOf(const product::Raster& raster) {
    Place place;
    try {
        place.locator = std::make_unique<product::Locator>(
            std::make_shared<const product::Place>(raster.findPlace()));
        place.ground = groundGrid(*place.locator, raster.width(), raster.height());
        if (!place.ground)
            place.why = "layer " + raster.name() + ": its centre has no place on the ground";
    } catch (const loader::Error& error) {
        place.why = error.what();
    }
    return place;
}

/// The pixels of the picture, and where they lie.
struct Canvas {
    std::uint32_t width = 0, height = 0;
    std::unique_ptr<PicturePlace> place; ///< null when nothing tells
    std::vector<Grey> channels;
    bool inDecibels = false; ///< one channel is
};

std::vector<float> ratioOf(std::vector<float> numbers, const std::vector<float>& divisors) {
    for (std::size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = divisors[i] > 0 ? numbers[i] / divisors[i] : 0;
    return numbers;
}

/// Each image is read once, however many channels show it.
template <class Arrange>
std::vector<Grey> shades(const std::vector<Channel>& channels, std::uint32_t columns,
                         std::uint32_t rows, const Arrange& arranged) {
    std::vector<std::pair<std::string, std::vector<float>>> read;
    const auto numbers = [&](const product::Raster& raster) -> const std::vector<float>& {
        for (const auto& [name, known] : read)
            if (name == raster.name())
                return known;
        return read.emplace_back(raster.name(), arranged(shrink(raster, columns, rows))).second;
    };
    read.reserve(2 * channels.size());
    std::vector<Grey> greys;
    for (const Channel& channel : channels) {
        const Tone tone{quantityOf(*channel.raster), channel.decibels};
        const std::vector<float>& shown = numbers(*channel.raster);
        greys.push_back(greyOf(channel.divisor ? ratioOf(shown, numbers(*channel.divisor)) : shown,
                               tone, channel.raster->unit()));
    }
    return greys;
}

std::string northText(double degrees) {
    char text[64];
    std::snprintf(text, sizeof text, "north is up within %.0f degrees",
                  std::max(1.0, std::ceil(std::fabs(degrees))));
    return text;
}

Canvas inOwnGrid(const std::vector<Channel>& channels, const DrawingRequest& request,
                 const Place& place, Drawing& drawing) {
    const product::Raster& raster = *channels.front().raster;
    const Orientation orientation =
        request.asStored || !place.ground ? Orientation{} : northUp(*place.ground);
    const PictureLayout layout =
        layOut(raster.width(), raster.height(), request.longSide, place.ground, orientation);
    if (!place.ground)
        drawing.warnings.push_back(place.why + "; the picture is as stored");
    else if (!request.asStored)
        drawing.remark =
            "the picture is " + orientation.text() + ": " +
            northText(northInPictureDeg(*place.ground, orientation)) +
            (orientation.changesNothing() ? "" : "; --as-stored keeps the file's order");
    const auto [columns, rows] = layout.cells();
    return {layout.width, layout.height,
            place.ground ? placeOfImage(*place.locator, layout) : nullptr,
            shades(channels, columns, rows,
                   [&](const std::vector<float>& cells) { return layout.arranged(cells); })};
}

Canvas onMap(const std::vector<Channel>& channels, const DrawingRequest& request,
             const Place& place, Drawing& drawing) {
    const product::Raster& raster = *channels.front().raster;
    if (quantityOf(raster) == Quantity::phase)
        throw loader::Error("layer " + raster.name() +
                            ": phases cannot be averaged onto a map; leave --north-up out");
    if (!place.locator)
        throw loader::Error(place.why);
    const PictureMap map(*place.locator, raster, request.longSide);
    const auto [columns, rows] = layOut(raster.width(), raster.height(),
                                        request.longSide + request.longSide / 2, place.ground, {})
                                     .cells();
    const product::MapFrame& frame = map.frame();
    drawing.picture.place = {frame.geoTransform(), {}, frame.wkt, {}};
    return {frame.width, frame.height, placeOfMap(frame),
            shades(channels, columns, rows,
                   [&, columns = columns, rows = rows](const std::vector<float>& cells) {
                       return map.drawn(cells, columns, rows);
                   })};
}

std::vector<std::uint8_t> interleaved(const std::vector<Grey>& channels) {
    std::vector<std::uint8_t> rgb;
    rgb.reserve(3 * channels.front().levels.size());
    for (std::size_t i = 0; i < channels.front().levels.size(); ++i)
        for (std::size_t colour = 0; colour < 3; ++colour)
            rgb.push_back(channels[channels.size() == 1 ? 0 : colour].levels[i]);
    return rgb;
}

void addMarks(const DrawingRequest& request, Canvas& canvas, kimg::Picture& picture) {
    Overlay overlay(canvas.width, canvas.height);
    std::vector<Overlay::Box> taken;
    if (canvas.channels.size() == 1 && canvas.inDecibels && canvas.channels[0].scale)
        taken.push_back(drawLegend(*canvas.channels[0].scale, overlay, canvas.channels[0].levels));
    if (request.scaleBar)
        taken.push_back(drawScaleBar(*canvas.place, overlay));
    if (request.northArrow)
        taken.push_back(drawNorthArrow(*canvas.place, overlay));
    if (request.graticule || request.graticuleStepDeg > 0)
        drawGraticule(*canvas.place, request.graticuleStepDeg, taken, overlay);
    picture.bands = 3;
    picture.samples = interleaved(canvas.channels);
    overlay.drawOver(picture.samples);
}

} // namespace

Drawing draw(const std::shared_ptr<const product::OpenedProduct>& opened,
             const DrawingRequest& request) {
    std::vector<Channel> channels;
    if (request.inColour)
        channels = colourChannels(opened, request.rgb, request.treatment);
    else
        channels.push_back(greyChannel(opened, request.layer, request.treatment));
    const Place place = placeOf(*channels.front().raster);
    if (!place.ground && (request.northUp || wantsMarks(request)))
        throw loader::Error(place.why);
    Drawing drawing;
    if (place.locator && (request.northUp || wantsMarks(request)) &&
        !place.locator->remarks().empty())
        drawing.warnings.push_back(place.locator->remarks());
    Canvas canvas = request.northUp ? onMap(channels, request, place, drawing)
                                    : inOwnGrid(channels, request, place, drawing);
    kimg::Picture& picture = drawing.picture;
    picture.width = canvas.width;
    picture.height = canvas.height;
    std::vector<kimg::TiffBand> shown;
    for (const Channel& channel : channels)
        shown.push_back({channel.raster->name(), channel.raster->unit()});
    picture.items = originMetadata(*opened, shown, request.treatment.denoised);
    canvas.inDecibels = channels.front().decibels && !request.inColour;
    if (wantsMarks(request) || canvas.inDecibels)
        addMarks(request, canvas, picture);
    else if (request.inColour) {
        picture.bands = 3;
        picture.samples = interleaved(canvas.channels);
    } else
        picture.samples = canvas.channels.front().levels;
    return drawing;
}
