#include "product/checks/checks.h"

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

/// The files that a product names, each once, in the order in which it matters.
std::vector<std::string> namedFiles(const OpenedProduct& opened) {
    const StatedProduct& stated = opened.stated();
    std::vector<std::string> names;
    for (const StatedImage& image : stated.facts().images)
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
        static_cast<void>(opened.product.node(":SAR_Metadata", remarks));
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
    const auto count = static_cast<std::int64_t>(gains.values.size());
    const std::int64_t last = gains.first + gains.step * (count - 1);
    const std::int64_t step = std::abs(gains.step);
    if (count != 0 && (std::min(gains.first, last) <= -step ||
                       std::max(gains.first, last) >= std::int64_t{width} - 1 + step))
        findings.add(Verdict::warn, table.file + ": has " + std::to_string(count) +
                                        " gains for lines of " + std::to_string(width) +
                                        " samples");
}

/// Reads everything that goes by the image's columns, which the product states.
void checkTables(const OpenedProduct& opened, Findings& findings) {
    const StatedProduct& stated = opened.stated();
    const auto calibrated = stated.calibrationTables();
    const std::uint32_t width = stated.imageClaims().width;
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
    for (const CalibrationTable& table : calibrated)
        attempt([&] { return readCalibration(stated, table, width, true); });
    const bool longerTold = good == total;
    for (const NoiseTable& table : stated.noiseTables())
        attempt([&] { return readNoise(stated, table, width); });
    if (!stated.incidenceFile().empty())
        attempt([&] { return readIncidence(stated, width); });
    findings.addWhenAll(good, total, "tables cover the image's lines");
    if (longerTold)
        for (const CalibrationTable& table : calibrated)
            checkReach(stated, table, width, findings);
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
        if (!image.samples)
            continue;
        const std::string wrong = what(*image.samples);
        if (wrong.empty())
            ++good;
        else
            findings.add(Verdict::fail, image.file + " " + wrong);
    }
    findings.addWhenAll(good, opened.images().size(), areRight);
}

void checkSizes(const OpenedProduct& opened, Findings& findings) {
    const ImageClaims stated = opened.stated().imageClaims();
    checkImages(
        opened, "images have the size that the product states",
        [&](const ImageSamples& image) {
            return sizeContradiction(stated, image.width(), image.height());
        },
        findings);
}

void checkTypes(const OpenedProduct& opened, Findings& findings) {
    const ImageClaims stated = opened.stated().imageClaims();
    checkImages(
        opened, "images hold samples of the type that the product states",
        [&](const ImageSamples& image) { return typeContradiction(stated, image.form()); },
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

/// The model, or the image's own georeferencing, against what else the product states.
void checkGround(const OpenedProduct& opened, Findings& findings) {
    try {
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

/// Both readings of line times that are known to be late, whichever places the image.
void checkLineTimes(const OpenedProduct& opened, Findings& findings) {
    const auto& nodes = opened.nodeNames();
    if (std::find(nodes.begin(), nodes.end(), ":SAR_Metadata") == nodes.end())
        return;
    try {
        if (const auto found = lineTimeResiduals(opened.product, opened.stated().tiePoints()))
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
    return sentences;
}

std::string modelRemark(const ProductFacts& facts) {
    static constexpr std::string_view withModel[] = {"SLC", "SGF", "SGX", "SGC", "SCF", "SCS",
                                                     "SCX", "GRD", "GRC", "SCD", "GEO", "GEC"};
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
