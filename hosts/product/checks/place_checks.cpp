// SPDX-License-Identifier: MIT
#include "product/checks/place_checks.h"

#include "product/bursts/burst_record.h"
#include "product/checks/ground_checks.h"
#include "product/checks/line_times.h"

#include "kfnp/kfnp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace product {
namespace {

constexpr double warnPixels = 1; ///< above, what places the image disagrees with the product
constexpr double failPixels = 10;

void addResiduals(const char* against, const Residuals& residuals, Findings& findings) {
    if (residuals.points + residuals.unanswered == 0)
        return;
    Verdict verdict = Verdict::ok;
    if (residuals.worst() > failPixels || residuals.points == 0)
        verdict = Verdict::fail;
    else if (residuals.worst() > warnPixels || residuals.unanswered > 0)
        verdict = Verdict::warn;
    findings.add(verdict, against + residuals.text());
}

void addRpc(const std::string& what, const RpcResiduals& found, Findings& findings) {
    const char* order = found.earlierOrder
                            ? ", the functions' coefficients stand in the earlier order (RPC00A), "
                            : ", ";
    addResiduals((what + order).c_str(), found.residuals, findings);
}

/// For bursts: compares the model of the common grid with the product's tie points, and each
/// burst's model with those in its images.
void checkBurstGround(const OpenedProduct& opened, Findings& findings) {
    const auto locator = [&](const GridPart& part) {
        return Locator(std::make_shared<const Place>(placeOf(opened, part, opened.name())));
    };
    addResiduals("sensor model of the common grid against the product's tie points, ",
                 againstTiePoints(locator(wholeGrid(opened.stated())), opened.stated()), findings);
    Residuals worst;
    for (const ProductImage& image : opened.burstImages()) {
        if (!image.samples())
            continue; // the files' check reports it
        const Residuals found = againstImageTies(locator(partOf(*image.burst)), image.file);
        if (found.worst() > warnPixels || found.unanswered > 0)
            addResiduals(("sensor model of burst " + image.burst->name() +
                          " against the tie points in " + kfnp::lastComponent(image.file) + ", ")
                             .c_str(),
                         found, findings);
        else if (found.points > 0 && found.worst() >= worst.worst())
            worst = found;
    }
    addResiduals("sensor models of bursts against the tie points in their images, at worst ", worst,
                 findings);
}

} // namespace

void checkModel(const OpenedProduct& opened, Findings& findings) {
    const auto addOwnPlace = [&] {
        findings.add(Verdict::ok, "the image is a map and needs no SAR model");
    };
    const bool isMap = opened.stated().acquisition().geometry == "map";
    if (const std::string remark = modelRemark(opened.stated().facts()); !remark.empty())
        return isMap ? addOwnPlace() : findings.add(Verdict::warn, remark);
    std::string remarks;
    try {
        if (opened.hasBursts()) { // the plug-in's record describes only the first
            static_cast<void>(transformOf(opened, wholeGrid(opened.stated())));
            for (const StatedBurst& burst : opened.stated().bursts())
                static_cast<void>(transformOf(opened, partOf(burst)));
        } else {
            static_cast<void>(opened.product.node(":SAR_Metadata", remarks));
        }
    } catch (const loader::Error& error) {
        return findings.add(Verdict::warn, error.what());
    }
    if (remarks.empty())
        findings.add(Verdict::ok, "the product has a SAR model");
    else if (isMap)
        addOwnPlace();
    else if (!opened.stated().hasOwnModel())
        findings.add(Verdict::warn, remarks);
}

void checkOwnModel(const OpenedProduct& opened, Findings& findings) {
    if (!opened.stated().hasOwnModel())
        return;
    try {
        static_cast<void>(opened.stated().ownModel());
        findings.add(Verdict::ok, "the product has a polar-format sensor model");
    } catch (const loader::Error& error) {
        findings.add(Verdict::warn, error.what());
    }
}

/// Compares the model, or the image file's georeferencing, with what else the product states.
void checkGround(const OpenedProduct& opened, Findings& findings) {
    try {
        if (opened.hasBursts())
            return checkBurstGround(opened, findings);
        if (opened.layerNames().empty())
            return;
        const loader::Layer layer = opened.product.openLayer(opened.layerNames().at(0));
        const Locator locator(opened, layer);
        const PlaceSource source = locator.place()->source;
        if (source == PlaceSource::model && opened.stated().tiePoints().empty())
            addRpc("sensor model against the product's rational functions",
                   againstOwnRpc(locator, opened.stated(), layer.width(), layer.height()),
                   findings);
        const std::string who = source == PlaceSource::model       ? "sensor model"
                                : source == PlaceSource::functions ? "rational functions"
                                                                   : "image's georeferencing";
        addResiduals((who + " against the product's tie points, ").c_str(),
                     againstTiePoints(locator, opened.stated()), findings);
        for (const ProductImage& image : opened.images()) {
            const std::string& file = image.file;
            if (!image.samples())
                continue; // the files' and the types' checks report it
            const std::string name = kfnp::lastComponent(file);
            if (source == PlaceSource::model)
                addResiduals((who + " against the tie points in " + name + ", ").c_str(),
                             againstImageTies(locator, file), findings);
            addResiduals(("map coordinates in " + name + " against the product's, ").c_str(),
                         againstStatedMap(opened.stated(), file), findings);
        }
    } catch (const loader::Error& error) {
        findings.add(Verdict::warn, error.what());
    }
}

/// Checks one pixel only, so it can run whenever a product is described.
void checkMiddle(const OpenedProduct& opened, Findings& findings) {
    const auto middle = opened.stated().middle();
    if (!middle || opened.layerNames().empty())
        return;
    std::optional<Locator> locator;
    std::uint32_t width = 0, height = 0;
    try {
        const loader::Layer layer = opened.product.openLayer(opened.layerNames().front());
        width = layer.width();
        height = layer.height();
        locator.emplace(opened, layer);
    } catch (const loader::Error&) {
        return; // the layers' and the ground's checks report it
    }
    if (locator->place()->source != PlaceSource::model) {
        // A map contains its scene, not necessarily in its middle.
        std::array<KxfrPixel, 1> at{};
        locator->toImage(std::array{KxfrMapPoint{middle->lonDeg, middle->latDeg, middle->heightM}},
                         at);
        if (!(at[0].sample >= -0.5 && at[0].sample < width - 0.5 && at[0].line >= -0.5 &&
              at[0].line < height - 0.5))
            findings.add(Verdict::warn, "the place that the product states for the middle of its "
                                        "scene is not in the image");
        return;
    }
    const PointMiss miss = againstPoint(*locator, *middle);
    const double pixels = std::max(std::abs(miss.lines), std::abs(miss.samples));
    std::ostringstream sentence;
    sentence << std::fixed << std::setprecision(3) << "sensor model puts the image's middle pixel "
             << miss.groundM << " m from where the product states it";
    if (std::isfinite(pixels))
        sentence << " (" << std::abs(miss.lines) << " lines, " << std::abs(miss.samples)
                 << " samples)";
    else
        sentence << ", where it has no pixel";
    findings.add(pixels <= warnPixels   ? Verdict::ok
                 : pixels <= failPixels ? Verdict::warn
                                        : Verdict::fail,
                 sentence.str());
}

/// Checks line times that are known to be late, as stated and as corrected.
void checkLineTimes(const OpenedProduct& opened, Findings& findings) {
    const auto& nodes = opened.nodeNames();
    if (std::find(nodes.begin(), nodes.end(), ":SAR_Metadata") == nodes.end())
        return;
    try {
        if (const auto found = lineTimeResiduals(opened))
            findings.add(found->othersFitBetter() ? Verdict::warn : Verdict::ok, found->text());
    } catch (const loader::Error&) {
        // the model's check reports it
    }
}

void checkRpc(const OpenedProduct& opened, Findings& findings) {
    try {
        addRpc("rational functions against the tie points", ownRpcAgainstTiePoints(opened.stated()),
               findings);
    } catch (const loader::Error& error) {
        findings.add(Verdict::fail, error.what());
    }
}

} // namespace product
