// SPDX-License-Identifier: MIT
#include "product/checks/checks.h"

#include "product/bursts/burst_faults.h"
#include "product/checks/file_checks.h"
#include "product/checks/image_checks.h"
#include "product/checks/place_checks.h"
#include "product/checks/table_checks.h"
#include "product/checks/time_checks.h"
#include "product/families/document_text.h"

#include <algorithm>

namespace product {
namespace {

void checkTimes(const OpenedProduct& opened, Findings& findings) {
    const auto found = timeContradictions(opened.stated().times());
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty())
        findings.add(Verdict::ok, "times are in order");
}

void checkOrbit(const OpenedProduct& opened, Findings& findings) {
    const StatedTimes times = opened.stated().times();
    const auto found = orbitContradictions(times);
    for (const std::string& sentence : found)
        findings.add(Verdict::warn, sentence);
    if (found.empty() && times.vectors.size() > 1)
        findings.add(Verdict::ok, "positions and velocities of the orbit agree");
}

/// Checks words, because a reader takes an unknown word for one of the known ones.
void checkWords(const OpenedProduct& opened, Findings& findings) {
    const std::vector<StatedWord> words = opened.stated().words();
    std::size_t good = 0;
    for (const StatedWord& stated : words) {
        if (std::any_of(stated.known.begin(), stated.known.end(), [&](std::string_view known) {
                return lowerCase(std::string(known)) == lowerCase(stated.word);
            })) {
            ++good;
            continue;
        }
        std::string known;
        for (const std::string_view word : stated.known)
            known += (known.empty() ? "\"" : ", \"") + std::string(word) + '"';
        findings.add(Verdict::warn, stated.file + ": " + stated.path + " says \"" + stated.word +
                                        "\", which is unknown; known is " + known);
    }
    findings.addWhenAll(good, words.size(), "words on sides, directions and orders are known");
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

struct Check {
    const char* name;
    void (*run)(const OpenedProduct& opened, Findings& findings);
    bool cheap; ///< reads headers and tables at most
};
/// Each adds its findings; none when there is nothing to check.
constexpr Check checks[] = {
    {"files", checkFiles, false},
    {"layers", checkLayers, false},
    {"extent", checkExtent, false},
    {"words", checkWords, true},
    {"model", checkModel, false},
    {"grid", checkOwnModel, true},
    {"sizes", checkSizes, true},
    {"types", checkTypes, true},
    {"poles", checkPolarizations, true},
    {"times", checkTimes, true},
    {"orbit", checkOrbit, true},
    {"bursts", checkBursts, true},
    {"bursts", checkBurstImages, false},
    {"middle", checkMiddle, true},
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
