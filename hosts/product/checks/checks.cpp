#include "product/checks/checks.h"

#include "product/checks/ground_checks.h"
#include "product/checks/line_times.h"
#include "product/checks/time_checks.h"
#include "product/families/image_claims.h"
#include "product/images/image_files.h"
#include "product/place/ground_ties.h"
#include "product/place/polar_format.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_tables.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "records/calibration_lut_record.h"

#include <algorithm>
#include <set>

namespace product {
namespace {

/// What checks look at.
struct Subject {
    const loader::Product& opened;
    const ProductDocument& document;
    const ProductFacts& facts;
};

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
std::vector<std::string> namedFiles(const Subject& subject) {
    std::vector<std::string> names = imageFiles(subject.document, subject.facts);
    for (const CalibrationTable& table : calibrationTables(subject.document))
        names.push_back(table.file);
    for (const NoiseTable& table : noiseTables(subject.document))
        names.push_back(table.file);
    names.push_back(incidenceFile(subject.document));
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
    return state.size == 0 ? "is empty" : "";
}

void checkFiles(const Subject& subject, Findings& findings) {
    const auto files = namedFiles(subject);
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

void checkLayers(const Subject& subject, Findings& findings) {
    const auto names = subject.opened.layerNames();
    std::size_t good = 0;
    for (const std::string& name : names)
        try {
            static_cast<void>(subject.opened.openLayer(name));
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    findings.addWhenAll(good, names.size(), "layers open");
}

void checkModel(const Subject& subject, Findings& findings) {
    if (const std::string remark = modelRemark(subject.facts); !remark.empty())
        return findings.add(Verdict::warn, remark);
    std::string remarks;
    try {
        static_cast<void>(subject.opened.node(":SAR_Metadata", remarks));
    } catch (const loader::Error& error) {
        return findings.add(Verdict::warn, error.what());
    }
    if (remarks.empty())
        findings.add(Verdict::ok, "the product has a SAR model");
    else if (!statesPolarFormat(subject.document))
        findings.add(Verdict::warn, remarks);
}

void checkPolarFormat(const Subject& subject, Findings& findings) {
    if (!statesPolarFormat(subject.document))
        return;
    try {
        static_cast<void>(polarFormatTransform(subject.document));
        findings.add(Verdict::ok, "the product has a polar-format sensor model");
    } catch (const loader::Error& error) {
        findings.add(Verdict::warn, error.what());
    }
}

/// Tables of RADARSAT-2 have one gain a sample: longer ones belong to another image.
void checkNodeLengths(const Subject& subject, std::uint32_t width, Findings& findings) {
    std::string remarks;
    const KmifNode node = subject.opened.node(":Rs2_Calibration", remarks);
    const auto& tables = *static_cast<const CalibrationLutRecord*>(node.data());
    const std::pair<const char*, std::int32_t> counts[] = {{"lutBeta", tables.betaCount},
                                                           {"lutSigma", tables.sigmaCount},
                                                           {"lutGamma", tables.gammaCount}};
    for (const auto& [name, gains] : counts)
        if (gains > static_cast<std::int64_t>(width))
            findings.add(Verdict::warn, std::string(name) + " has " + std::to_string(gains) +
                                            " gains for lines of " + std::to_string(width) +
                                            " samples");
}

/// Reads everything that goes by the image's columns, which the product states.
void checkTables(const Subject& subject, Findings& findings) {
    const ProductDocument& document = subject.document;
    const auto calibrated = calibrationTables(document);
    const auto noise = noiseTables(document);
    const std::uint32_t width = imageClaims(document).width;
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
        attempt([&] { return readCalibration(subject.opened, document, table, width, true); });
    const bool longerTold = good == total;
    for (const NoiseTable& table : noise)
        attempt([&] { return readNoise(document, table, width); });
    if (!incidenceFile(document).empty())
        attempt([&] { return readIncidence(document, width); });
    findings.addWhenAll(good, total, "tables cover the image's lines");
    if (longerTold && !calibrated.empty() && document.kind == ProductDocument::Kind::radarsat2)
        checkNodeLengths(subject, width, findings);
}

/// Layer names follow the list of polarizations, the images their own order.
void checkPolarizations(const Subject& subject, Findings& findings) {
    auto found = contradictions(subject.facts, subject.opened.layerNames());
    const ProductDocument& document = subject.document;
    const std::string sent = textAt(document.extended, "collect/radar/transmit_polarization"),
                      heard = textAt(document.extended, "collect/radar/receive_polarization");
    if (!sent.empty() &&
        std::find(subject.facts.polarizations.begin(), subject.facts.polarizations.end(),
                  sent + heard) == subject.facts.polarizations.end())
        found.push_back(document.extendedFile + " states polarization " + sent + heard +
                        ", which the item does not list");
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "layer names and images agree");
}

/// Looks at the images that open; the others are the layers' check's to tell.
template <class Contradiction>
void checkImages(const Subject& subject, const std::string& areRight, const Contradiction& what,
                 Findings& findings) {
    const auto files = imageFiles(subject.document, subject.facts);
    std::size_t good = 0;
    for (const std::string& file : files)
        try {
            const std::string wrong = what(ImageSamples(file));
            if (wrong.empty())
                ++good;
            else
                findings.add(Verdict::fail, file + " " + wrong);
        } catch (const loader::Error&) {
        }
    findings.addWhenAll(good, files.size(), areRight);
}

void checkSizes(const Subject& subject, Findings& findings) {
    const ImageClaims stated = imageClaims(subject.document);
    checkImages(
        subject, "images have the size that the product states",
        [&](const ImageSamples& image) {
            return sizeContradiction(stated, image.width(), image.height());
        },
        findings);
}

void checkTypes(const Subject& subject, Findings& findings) {
    const ImageClaims stated = imageClaims(subject.document);
    checkImages(
        subject, "images hold samples of the type that the product states",
        [&](const ImageSamples& image) { return typeContradiction(stated, image.form()); },
        findings);
}

void checkTimes(const Subject& subject, Findings& findings) {
    const auto found = timeContradictions(subject.document);
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
void checkGround(const Subject& subject, Findings& findings) {
    try {
        const loader::Layer layer = subject.opened.openLayer(subject.opened.layerNames().at(0));
        const Locator locator(layer);
        const PlaceSource source = locator.place()->source;
        const std::string who = source == PlaceSource::model       ? "sensor model"
                                : source == PlaceSource::functions ? "rational functions"
                                                                   : "image's georeferencing";
        addResiduals((who + " against the product's tie points, ").c_str(),
                     againstTiePoints(locator, subject.document), findings);
        for (const std::string& file : imageFiles(subject.document, subject.facts)) {
            if (!kfio::fileState(file).exists)
                continue; // told by the files' check
            const std::string name = kfnp::lastComponent(file);
            if (source == PlaceSource::model)
                addResiduals((who + " against the tie points in " + name + ", ").c_str(),
                             againstImageTies(locator, file), findings);
            addResiduals(("map coordinates in " + name + " against the product's, ").c_str(),
                         againstStatedMap(subject.document, file), findings);
        }
    } catch (const std::exception& error) {
        findings.add(Verdict::warn, error.what());
    }
}

/// Both readings of line times that are known to be late, whichever places the image.
void checkLineTimes(const Subject& subject, Findings& findings) {
    const auto nodes = subject.opened.nodeNames();
    if (std::find(nodes.begin(), nodes.end(), ":SAR_Metadata") == nodes.end())
        return;
    try {
        if (const auto found = lineTimeResiduals(subject.opened, tiePoints(subject.document)))
            findings.add(found->othersFitBetter() ? Verdict::warn : Verdict::ok, found->text());
    } catch (const loader::Error&) {
        // told by the model's check
    }
}

void checkRpc(const Subject& subject, Findings& findings) {
    try {
        const RpcResiduals found = ownRpcAgainstTiePoints(subject.document);
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
    void (*run)(const Subject& subject, Findings& findings);
    bool cheap; ///< reads headers and tables at most
};
/// Each adds its findings; none when there is nothing to check.
constexpr Check checks[] = {
    {"files", checkFiles, false},
    {"layers", checkLayers, false},
    {"model", checkModel, false},
    {"grid", checkPolarFormat, true},
    {"sizes", checkSizes, true},
    {"types", checkTypes, true},
    {"poles", checkPolarizations, true},
    {"times", checkTimes, true},
    {"ground", checkGround, false},
    {"linetimes", checkLineTimes, false},
    {"rpc", checkRpc, false},
    {"calibration", checkTables, true},
};

std::vector<Finding> runOn(const Subject& subject, bool cheapOnly) {
    std::vector<Finding> all;
    for (const Check& check : checks) {
        if (cheapOnly && !check.cheap)
            continue;
        Findings findings{check.name, all};
        try {
            check.run(subject, findings);
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    }
    return all;
}

} // namespace

std::vector<std::string> warnings(const loader::Product& opened, const ProductDocument& document,
                                  const ProductFacts& facts) {
    std::vector<std::string> sentences;
    for (Finding& finding : runOn({opened, document, facts}, true))
        if (finding.verdict != Verdict::ok)
            sentences.push_back(std::move(finding.sentence));
    return sentences;
}

std::vector<Finding> runChecks(const loader::Product& opened) {
    const ProductDocument document = readDocument(opened.name());
    const ProductFacts facts = readFacts(document);
    return runOn({opened, document, facts}, false);
}

} // namespace product
