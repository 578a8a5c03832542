#include "product/checks/checks.h"

#include "product/bursts/burst_faults.h"
#include "product/bursts/burst_record.h"
#include "product/checks/ground_checks.h"
#include "product/checks/line_times.h"
#include "product/checks/time_checks.h"
#include "product/images/image_claims.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_tables.h"

#include "kfio/kfio.h"
#include "kfio/virtual_files.h"
#include "kfnp/kfnp.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace product {
namespace {

/// Where a check puts what it finds.
struct Findings {
    std::string check;
    std::vector<Finding>& all;

    void add(Verdict verdict, std::string sentence) {
        all.push_back({check, verdict, std::move(sentence)});
    }
    /// Says that all of several things are right, unless less than all are.
    void addWhenAll(std::size_t good, std::size_t total, const std::string& areRight) {
        if (good == total && total != 0)
            add(Verdict::ok, "all " + std::to_string(total) + " " + areRight);
    }
};

/// Those of every burst, where there are bursts.
const std::vector<ProductImage>& imagesToCheck(const OpenedProduct& opened) {
    return opened.hasBursts() ? opened.burstImages() : opened.images();
}

/// The files that a product names, each once, in the order in which it matters.
std::vector<std::string> namedFiles(const OpenedProduct& opened) {
    const StatedProduct& stated = opened.stated();
    std::vector<std::string> names;
    for (const ProductImage& image : imagesToCheck(opened))
        names.push_back(image.file);
    for (const CalibrationTable& table : stated.calibrationTables())
        names.push_back(table.file);
    for (const NoiseTable& table : stated.noiseTables())
        names.push_back(table.file);
    names.push_back(stated.incidenceFile());
    std::set<std::string> seen = {""}; // what the document holds itself
    std::erase_if(names, [&](const std::string& name) { return !seen.insert(name).second; });
    return names;
}

/// @return what is wrong with a file; empty when nothing is.
std::string faultOf(const std::string& file) {
    const kfio::FileState state = kfio::fileState(file);
    if (!state.exists)
        return "is missing";
    if (!state.isRegularFile)
        return "is not a file";
    if (!state.isReadable)
        return "may not be read";
    return state.size == 0 ? "is empty" : kfio::faultInArchive(file);
}

void checkFiles(const OpenedProduct& opened, Findings& findings) {
    const auto files = namedFiles(opened);
    std::size_t good = 0;
    for (const std::string& file : files) {
        const std::string fault = faultOf(file);
        if (fault.empty())
            ++good;
        else
            findings.add(Verdict::fail, file + " " + fault);
    }
    findings.addWhenAll(good, files.size(), "files that the product names are there");
}

void checkLayers(const OpenedProduct& opened, Findings& findings) {
    const auto& names = opened.layerNames();
    std::size_t good = 0;
    for (const std::string& name : names)
        try {
            static_cast<void>(opened.product.openLayer(name));
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    findings.addWhenAll(good, names.size(), "layers open");
}

void checkModel(const OpenedProduct& opened, Findings& findings) {
    if (const std::string remark = modelRemark(opened.stated().facts()); !remark.empty())
        return findings.add(Verdict::warn, remark);
    std::string remarks;
    try {
        if (opened.hasBursts()) { // the plug-in's record takes the first of them for the whole
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

/// A table that reaches more than a step beyond the image belongs to another one.
void checkReach(const StatedProduct& stated, const CalibrationTable& table, std::uint32_t width,
                Findings& findings) {
    const ColumnProfile& gains = stated.gains(table).gains;
    const std::size_t count = gains.values.size();
    // As real numbers: the product may state steps that leave the whole ones.
    const auto first = static_cast<double>(gains.first), step = static_cast<double>(gains.step);
    const double last = first + step * (static_cast<double>(count) - 1);
    if (count != 0 && (std::min(first, last) <= -std::abs(step) ||
                       std::max(first, last) >= width - 1.0 + std::abs(step)))
        findings.add(Verdict::warn, table.file + ": has " + std::to_string(count) +
                                        " gains for lines of " + std::to_string(width) +
                                        " samples");
}

/// @return one burst of each set of columns; tables are made for these.
std::vector<const StatedBurst*> burstsByColumns(const StatedProduct& stated) {
    std::vector<const StatedBurst*> different;
    for (const StatedBurst& burst : stated.bursts())
        if (std::none_of(different.begin(), different.end(), [&](const StatedBurst* other) {
                return other->beam == burst.beam && other->sampleOffset == burst.sampleOffset &&
                       other->samples == burst.samples;
            }))
            different.push_back(&burst);
    return different;
}

/// Reads everything that goes by the image's columns, which the product states.
void checkTables(const OpenedProduct& opened, Findings& findings) {
    const StatedProduct& stated = opened.stated();
    const auto calibrated = stated.calibrationTables();
    std::size_t good = 0, total = 0;
    const auto attempt = [&](const auto& read) {
        ++total;
        try {
            static_cast<void>(read());
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    };
    const auto attemptAll = [&](const ImageColumns& columns, const std::string& beam) {
        const auto serves = [&](const auto& table) {
            return table.beam.empty() || table.beam == beam;
        };
        for (const CalibrationTable& table : calibrated)
            if (serves(table))
                attempt([&] { return readCalibration(stated, table, columns, true); });
        for (const NoiseTable& table : stated.noiseTables())
            if (serves(table))
                attempt([&] { return readNoise(stated, table, columns); });
        if (!stated.incidenceFile().empty())
            attempt([&] { return readIncidence(stated, columns); });
    };
    if (opened.hasBursts()) {
        for (const StatedBurst* burst : burstsByColumns(stated))
            attemptAll(columnsOf(*burst), burst->beam);
        return findings.addWhenAll(good, total, "tables cover the bursts' lines");
    }
    attemptAll(columnsOf(stated), "");
    findings.addWhenAll(good, total, "tables cover the image's lines");
    if (good == total)
        for (const CalibrationTable& table : calibrated)
            checkReach(stated, table, columnsOf(stated).width, findings);
}

/// @return sentences on layer names that carry another pole than their image, or hide what it is.
std::vector<std::string> nameContradictions(const OpenedProduct& opened) {
    const ProductFacts& facts = opened.stated().facts();
    std::vector<std::string> found;
    for (const std::string& text : opened.layerNames()) {
        const LayerName name = parseLayerName(text);
        const std::size_t image = imageOfLayer(name, opened.layersInPairs());
        if (image >= facts.images.size() || facts.images[image].pole.empty() ||
            facts.images[image].pole == name.pole)
            continue;
        found.push_back("layer " + text + " shows polarization " + facts.images[image].pole +
                        ", although its name says " + name.pole +
                        ": the product lists its images in another order than its polarizations");
    }
    if (facts.namedAsDetected)
        found.push_back("product type " + facts.productType +
                        " has complex samples, which its layers, named as magnitudes, cannot show; "
                        "COMPLEX_HH and the like can");
    return found;
}

/// Layer names follow the list of polarizations, the images their own order.
void checkPolarizations(const OpenedProduct& opened, Findings& findings) {
    std::vector<std::string> found = nameContradictions(opened);
    for (std::string& sentence : opened.stated().contradictions())
        found.push_back(std::move(sentence));
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "layer names and images agree");
}

/// Looks at the images that open; the others are the layers' check's to tell.
template <class Contradiction>
void checkImages(const OpenedProduct& opened, const std::string& areRight,
                 const Contradiction& what, Findings& findings) {
    std::size_t good = 0;
    for (const ProductImage& image : opened.images()) {
        if (!image.samples())
            continue;
        const std::string wrong = what(image);
        if (wrong.empty())
            ++good;
        else
            findings.add(Verdict::fail, image.file + " " + wrong);
    }
    findings.addWhenAll(good, opened.images().size(), areRight);
}

/// @return where an image is not of the size that the product states.
std::string wrongSize(const ImageClaims& stated, const ProductImage& image) {
    ImageClaims claims = stated;
    if (image.burst) {
        claims.width = image.burst->samples;
        claims.height = image.burst->lines;
    }
    return sizeContradiction(claims, image.samples()->width(), image.samples()->height());
}

void checkSizes(const OpenedProduct& opened, Findings& findings) {
    const ImageClaims stated = opened.stated().imageClaims();
    checkImages(
        opened, "images have the size that the product states",
        [&](const ProductImage& image) { return wrongSize(stated, image); }, findings);
}

void checkTypes(const OpenedProduct& opened, Findings& findings) {
    const ImageClaims stated = opened.stated().imageClaims();
    checkImages(
        opened, "images hold samples of the type that the product states",
        [&](const ProductImage& image) {
            return typeContradiction(stated, image.samples()->form());
        },
        findings);
}

void checkTimes(const OpenedProduct& opened, Findings& findings) {
    const auto found = timeContradictions(opened.stated().times());
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "times are in order");
}

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

/// Bursts: the model of the common grid against the product's tie points, each burst's own against
/// those in its images.
void checkBurstGround(const OpenedProduct& opened, Findings& findings) {
    const auto locator = [&](const GridPart& part) {
        return Locator(std::make_shared<const Place>(placeOf(opened, part, opened.name())));
    };
    addResiduals("sensor model of the common grid against the product's tie points, ",
                 againstTiePoints(locator(wholeGrid(opened.stated())), opened.stated()), findings);
    Residuals worst;
    for (const ProductImage& image : opened.burstImages()) {
        if (!image.samples())
            continue; // told by the files' check
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

/// The model, or the image's own georeferencing, against what else the product states.
void checkGround(const OpenedProduct& opened, Findings& findings) {
    try {
        if (opened.hasBursts())
            return checkBurstGround(opened, findings);
        if (opened.layerNames().empty())
            return;
        const loader::Layer layer = opened.product.openLayer(opened.layerNames().at(0));
        const Locator locator(opened, layer);
        const PlaceSource source = locator.place()->source;
        const std::string who = source == PlaceSource::model       ? "sensor model"
                                : source == PlaceSource::functions ? "rational functions"
                                                                   : "image's georeferencing";
        addResiduals((who + " against the product's tie points, ").c_str(),
                     againstTiePoints(locator, opened.stated()), findings);
        for (const StatedImage& image : opened.stated().facts().images) {
            const std::string& file = image.file;
            if (!kfio::fileState(file).exists)
                continue; // told by the files' check
            const std::string name = kfnp::lastComponent(file);
            if (source == PlaceSource::model)
                addResiduals((who + " against the tie points in " + name + ", ").c_str(),
                             againstImageTies(locator, file), findings);
            addResiduals(("map coordinates in " + name + " against the product's, ").c_str(),
                         againstStatedMap(opened.stated(), file), findings);
        }
    } catch (const std::exception& error) {
        findings.add(Verdict::warn, error.what());
    }
}

void checkBursts(const OpenedProduct& opened, Findings& findings) {
    const std::vector<StatedBurst>& bursts = opened.stated().bursts();
    if (bursts.empty())
        return;
    const auto found = burstFaults(opened.stated());
    for (const std::string& sentence : found)
        findings.add(Verdict::fail, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "the " + burstCount(bursts) + " fit together");
}

/// The bursts that no layer shows: there may be hundreds.
void checkBurstImages(const OpenedProduct& opened, Findings& findings) {
    if (!opened.hasBursts())
        return;
    const ImageClaims stated = opened.stated().imageClaims();
    std::size_t good = 0;
    for (const ProductImage& image : opened.burstImages()) {
        if (!image.samples()) {
            if (kfio::fileState(image.file).exists) // else told by the files' check
                findings.add(Verdict::fail, image.fault());
            continue;
        }
        std::string wrong = wrongSize(stated, image);
        if (wrong.empty())
            wrong = typeContradiction(stated, image.samples()->form());
        if (wrong.empty())
            ++good;
        else
            findings.add(Verdict::fail, image.file + " " + wrong);
    }
    findings.addWhenAll(good, opened.burstImages().size(),
                        "images of bursts open and have the size and type that the product states");
}

/// Both readings of line times that are known to be late, whichever places the image.
void checkLineTimes(const OpenedProduct& opened, Findings& findings) {
    const auto& nodes = opened.nodeNames();
    if (std::find(nodes.begin(), nodes.end(), ":SAR_Metadata") == nodes.end())
        return;
    try {
        if (const auto found = lineTimeResiduals(opened))
            findings.add(found->othersFitBetter() ? Verdict::warn : Verdict::ok, found->text());
    } catch (const loader::Error&) {
        // told by the model's check
    }
}

void checkRpc(const OpenedProduct& opened, Findings& findings) {
    try {
        const RpcResiduals found = ownRpcAgainstTiePoints(opened.stated());
        addResiduals(found.earlierOrder
                         ? "rational functions, whose coefficients stand in the earlier order "
                           "(RPC00A), against the tie points, "
                         : "rational functions against the tie points, ",
                     found.residuals, findings);
    } catch (const loader::Error& error) {
        findings.add(Verdict::fail, error.what());
    }
}

struct Check {
    const char* name;
    void (*run)(const OpenedProduct& opened, Findings& findings);
    bool cheap; ///< reads headers and tables at most
};
/// Each adds its findings; none when there is nothing to check.
constexpr Check checks[] = {
    {"files", checkFiles, false},
    {"layers", checkLayers, false},
    {"model", checkModel, false},
    {"grid", checkOwnModel, true},
    {"sizes", checkSizes, true},
    {"types", checkTypes, true},
    {"poles", checkPolarizations, true},
    {"times", checkTimes, true},
    {"bursts", checkBursts, true},
    {"bursts", checkBurstImages, false},
    {"ground", checkGround, false},
    {"linetimes", checkLineTimes, false},
    {"rpc", checkRpc, false},
    {"calibration", checkTables, true},
};

std::vector<Finding> runOn(const OpenedProduct& opened, bool cheapOnly) {
    std::vector<Finding> all;
    for (const Check& check : checks) {
        if (cheapOnly && !check.cheap)
            continue;
        Findings findings{check.name, all};
        try {
            check.run(opened, findings);
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    }
    return all;
}

} // namespace

std::vector<std::string> warnings(const OpenedProduct& opened) {
    std::vector<std::string> sentences;
    for (Finding& finding : runOn(opened, true))
        if (finding.verdict != Verdict::ok)
            sentences.push_back(std::move(finding.sentence));
    if (const std::string remark = layersRemark(opened); !remark.empty())
        sentences.push_back(remark);
    return sentences;
}

std::string layersRemark(const OpenedProduct& opened) {
    if (!opened.hasBursts() || opened.images().empty() || !opened.images().front().burst)
        return "";
    const std::string shown = opened.images().front().burst->name();
    const std::string pole = opened.images().front().pole;
    return "the product holds " + burstCount(opened.stated().bursts()) +
           "; its layers show burst " + shown + " alone; MOSAIC_SIGMA_NOUGHT_" + pole +
           " shows all, COMPLEX_" + pole + '@' + shown + " and the like each of them";
}

std::string modelRemark(const ProductFacts& facts) {
    static constexpr std::string_view withModel[] = {
        "SLC", "SGF", "SGX", "SGC", "SCF", "SCS", "SCX", "GRD", "GRC", "MLC", "SCD", "GEO", "GEC"};
    const bool known = facts.productType.empty() ||
                       std::find(std::begin(withModel), std::end(withModel), facts.productType) !=
                           std::end(withModel);
    return known ? ""
                 : "product type " + facts.productType +
                       " has no SAR model; georeferencing is the image's own";
}

std::vector<Finding> runChecks(const OpenedProduct& opened) {
    static_cast<void>(opened.stated()); // nothing can be checked without it
    return runOn(opened, false);
}

} // namespace product
