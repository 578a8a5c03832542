#include "product/checks.h"

#include "product/ground_checks.h"
#include "product/image_files.h"
#include "product/product_facts.h"

#include "kfio/kfio.h"
#include "kfio/product_tree.h"
#include "kfnp/kfnp.h"

#include <cstdlib>
#include <iterator>
#include <sstream>

namespace product {
namespace {

/// What checks look at.
struct Subject {
    const loader::Product& opened;
    ProductDocument document;
    ProductFacts facts;
    std::string folder; ///< of the product file, with the separator
};

/// Collects what a check finds.
struct Findings {
    std::string check;
    std::vector<Finding>& all;

    void add(Verdict verdict, std::string sentence) {
        all.push_back({check, verdict, std::move(sentence)});
    }
};

/// @return what is wrong with a file that the product names; empty when nothing is.
std::string faultOf(const Subject& subject, const std::string& name) {
    if (kfnp::classifyReference(name) != kfnp::Reference::inside)
        return "is not a file of the product";
    const kfio::FileState state = kfio::fileState(kfnp::clean(subject.folder + name));
    if (!state.exists)
        return "is missing";
    if (!state.isRegularFile)
        return "is not a file";
    if (!state.isReadable)
        return "may not be read";
    return state.size == 0 ? "is empty" : "";
}

void checkFiles(const Subject& subject, Findings& findings) {
    std::vector<std::string> names;
    for (const ImageFact& image : subject.facts.images)
        if (!image.file.empty())
            names.push_back(image.file);
    for (const auto* more : {&subject.facts.tables, &subject.facts.furtherFiles})
        names.insert(names.end(), more->begin(), more->end());
    std::size_t good = 0;
    for (const std::string& name : names) {
        const std::string fault = faultOf(subject, name);
        if (fault.empty())
            ++good;
        else
            findings.add(Verdict::fail, name + " " + fault);
    }
    if (good == names.size())
        findings.add(Verdict::ok, "all " + std::to_string(good) +
                                      " files that the product names are there");
}

void checkLayers(const Subject& subject, Findings& findings) {
    std::size_t good = 0;
    const auto names = subject.opened.layerNames();
    for (const std::string& name : names)
        try {
            static_cast<void>(subject.opened.openLayer(name));
            ++good;
        } catch (const loader::Error& error) {
            findings.add(Verdict::fail, error.what());
        }
    if (good == names.size())
        findings.add(Verdict::ok, "all " + std::to_string(good) + " layers open");
}

void checkModel(const Subject& subject, Findings& findings) {
    std::string remarks;
    try {
        static_cast<void>(subject.opened.node(":SAR_Metadata", remarks));
    } catch (const loader::Error& error) {
        findings.add(Verdict::warn, error.what());
        return;
    }
    if (remarks.empty())
        findings.add(Verdict::ok, "the product has a SAR model");
    else
        findings.add(Verdict::warn, remarks);
}

/// A table has a gain for every sample of a line, or for every so many.
std::string faultOfTable(const Subject& subject, const std::string& name) {
    const kfio::ProductTree document =
        kfio::readXmlTree(kfnp::clean(subject.folder + name)).get_child("lut");
    std::istringstream words(document.get<std::string>("gains"));
    const std::int64_t gains =
        std::distance(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
    const std::int64_t step = std::abs(document.get<std::int64_t>("stepSize", 1));
    const std::int64_t width = subject.facts.samplesPerLine;
    const std::int64_t wanted = step > 0 ? (width + step - 1) / step : width;
    if (gains == wanted)
        return {};
    return "has " + std::to_string(gains) + " gains, but lines of " + std::to_string(width) +
           " samples need " + std::to_string(wanted);
}

void checkTables(const Subject& subject, Findings& findings) {
    std::size_t good = 0;
    for (const std::string& name : subject.facts.tables) {
        if (!faultOf(subject, name).empty())
            continue; // the files' check tells
        try {
            const std::string fault = faultOfTable(subject, name);
            if (fault.empty())
                ++good;
            else
                findings.add(Verdict::fail, name + " " + fault);
        } catch (const boost::property_tree::ptree_error& error) {
            findings.add(Verdict::fail, name + " is no calibration table: " + error.what());
        }
    }
    if (subject.facts.tables.empty())
        findings.add(Verdict::ok, "the product names no calibration tables");
    else if (good == subject.facts.tables.size())
        findings.add(Verdict::ok, "all " + std::to_string(good) +
                                      " calibration tables fit the image's lines");
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
    const auto names = subject.opened.layerNames();
    if (subject.facts.samplesPerLine == 0 || names.empty())
        return;
    try {
        const loader::Layer layer = subject.opened.openLayer(names.front());
        const bool same = layer.width() == subject.facts.samplesPerLine;
        findings.add(same ? Verdict::ok : Verdict::fail,
                     "lines of the image have " + std::to_string(layer.width()) +
                         " samples, the product states " +
                         std::to_string(subject.facts.samplesPerLine));
    } catch (const loader::Error&) {
        // the layers' check tells
    }
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
/// Each adds one finding or more, unless another check tells the fault.
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
    const std::string& file = opened.name();
    ProductDocument document = readDocument(file);
    ProductFacts facts = readFacts(document);
    const Subject subject{opened, std::move(document), std::move(facts),
                          file.substr(0, file.rfind('/') + 1)};
    std::vector<Finding> all;
    for (const Check& check : checks) {
        Findings findings{check.name, all};
        check.run(subject, findings);
    }
    return all;
}

} // namespace product
