#include "product/checks.h"

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
        static_cast<void>(subject.opened.nodeJson(":SAR_Metadata", remarks));
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

struct Check {
    const char* name;
    void (*run)(const Subject& subject, Findings& findings);
};
/// Each adds one finding or more, unless another check tells the fault.
constexpr Check checks[] = {
    {"files", checkFiles},
    {"layers", checkLayers},
    {"model", checkModel},
    {"calibration", checkTables},
};

} // namespace

std::vector<Finding> runChecks(const loader::Product& opened) {
    const std::string& file = opened.name();
    const Subject subject{opened, readFacts(file), file.substr(0, file.rfind('/') + 1)};
    std::vector<Finding> all;
    for (const Check& check : checks) {
        Findings findings{check.name, all};
        check.run(subject, findings);
    }
    return all;
}

} // namespace product
