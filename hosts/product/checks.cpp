#include "product/checks.h"

#include "product/calibration.h"
#include "product/ground_checks.h"
#include "product/image_files.h"
#include "product/noise_tables.h"
#include "product/product_facts.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "records/calibration_lut_record.h"


#include <limits>
#include <set>

namespace product {
namespace {

/// What checks look at.
struct Subject {
    const loader::Product& opened;
    ProductDocument document;
    ProductFacts facts;
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
        if (good == total)
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
    std::string remarks;
    try {
        static_cast<void>(subject.opened.node(":SAR_Metadata", remarks));
    } catch (const loader::Error& error) {
        return findings.add(Verdict::warn, error.what());
    }
    if (remarks.empty())
        findings.add(Verdict::ok, "the product has a SAR model");
    else
        findings.add(Verdict::warn, remarks);
}

std::uint32_t statedWidth(const ProductDocument& document) {
    const bool rcm = document.kind == ProductDocument::Kind::rcm;
    const char* path = rcm ? "sceneAttributes/imageAttributes/samplesPerLine"
                           : "imageAttributes/rasterAttributes/numberOfSamplesPerLine";
    const std::int64_t stated = parseInteger(document.kind == ProductDocument::Kind::capella
                                                 ? textAt(document.extended, "collect/image/columns")
                                                 : textAt(document.root, path),
                                             document.file);
    if (stated < 1 || stated > std::numeric_limits<std::int32_t>::max())
        throw loader::Error(document.file + ": states lines of " + std::to_string(stated) +
                            " samples");
    return static_cast<std::uint32_t>(stated);
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

void checkTables(const Subject& subject, Findings& findings) {
    const auto tables = calibrationTables(subject.document);
    if (tables.empty())
        return findings.add(Verdict::ok, "the product names no calibration tables");
    const std::uint32_t width = statedWidth(subject.document);
    std::size_t good = 0;
    for (const CalibrationTable& table : tables)
        try {
            static_cast<void>(readCalibration(subject.opened, subject.document, table, width, true));
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    findings.addWhenAll(good, tables.size(), "calibration tables cover the image's lines");
    if (good == tables.size() && subject.document.kind == ProductDocument::Kind::radarsat2)
        checkNodeLengths(subject, width, findings);
}

/// Layer names follow the list of polarizations, the images their own order.
void checkPolarizations(const Subject& subject, Findings& findings) {
    const auto found = contradictions(subject.facts, subject.opened.layerNames());
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "layer names and images agree");
}

void checkSizes(const Subject& subject, Findings& findings) {
    const ProductDocument& document = subject.document;
    if (document.kind == ProductDocument::Kind::capella && document.extended.empty())
        return; // the item alone states no size
    std::uint32_t found = 0;
    try {
        found = subject.opened.openLayer(subject.opened.layerNames().at(0)).width();
    } catch (const std::exception&) {
        return; // no layer, or one that does not open, is the layers' check's to tell
    }
    const std::uint32_t stated = statedWidth(document);
    findings.add(found == stated ? Verdict::ok : Verdict::fail,
                 "lines of the image have " + std::to_string(found) +
                     " samples, the product states " + std::to_string(stated));
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
        const std::string who = locator.usesHeight() ? "sensor model" : "image's georeferencing";
        addResiduals((who + " against the product's tie points, ").c_str(),
                     againstTiePoints(locator, subject.document), findings);
        if (locator.usesHeight())
            for (const std::string& file : imageFiles(subject.document, subject.facts))
                addResiduals((who + " against the tie points in " + kfnp::lastComponent(file) +
                              ", ").c_str(),
                             againstImageTies(locator, file), findings);
    } catch (const std::exception& error) {
        findings.add(Verdict::warn, error.what());
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
};
/// Each adds its findings; none when there is nothing to check.
constexpr Check checks[] = {
    {"files", checkFiles},
    {"layers", checkLayers},
    {"model", checkModel},
    {"sizes", checkSizes},
    {"poles", checkPolarizations},
    {"ground", checkGround},
    {"rpc", checkRpc},
    {"calibration", checkTables},
};

} // namespace

std::vector<Finding> runChecks(const loader::Product& opened) {
    ProductDocument document = readDocument(opened.name());
    ProductFacts facts = readFacts(document);
    const Subject subject{opened, std::move(document), std::move(facts)};
    std::vector<Finding> all;
    for (const Check& check : checks) {
        Findings findings{check.name, all};
        try {
            check.run(subject, findings);
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    }
    return all;
}

} // namespace product
