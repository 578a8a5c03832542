// SPDX-License-Identifier: MIT
#include "product/checks/file_checks.h"

#include "kfio/kfio.h"
#include "kfio/virtual_files.h"

#include <set>

namespace product {
namespace {

/// The documents and tables that a product names, each once.
std::vector<std::string> namedTables(const OpenedProduct& opened) {
    const StatedProduct& stated = opened.stated();
    std::vector<std::string> names;
    for (const CalibrationTable& table : stated.calibrationTables())
        names.push_back(table.file);
    for (const NoiseTable& table : stated.noiseTables())
        names.push_back(table.file);
    names.push_back(stated.incidenceFile());
    std::set<std::string> seen = {""}; // what the document holds itself
    std::erase_if(names, [&](const std::string& name) { return !seen.insert(name).second; });
    return names;
}

/// @return a file's fault; empty when there is none.
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

} // namespace

void checkFiles(const OpenedProduct& opened, Findings& findings) {
    std::size_t good = 0, total = 0;
    const auto add = [&](const std::string& file, bool whole) {
        ++total;
        std::string fault = faultOf(file);
        if (fault.empty() && whole)
            fault = kfio::faultInArchive(file);
        if (fault.empty())
            ++good;
        else
            findings.add(Verdict::fail, file + " " + fault);
    };
    for (const ProductImage& image : imagesToCheck(opened))
        add(image.file, false); // large; read on request
    for (const std::string& file : namedTables(opened))
        add(file, true);
    findings.addWhenAll(good, total, "files that the product names are there");
}

} // namespace product
