// SPDX-License-Identifier: MIT
#pragma once

#include "batch/result_folder.h"
#include "batch/run_command.h"
#include "product/find_products.h"

#include <string>
#include <vector>

namespace batch {

/// The verb to run on every product.
struct Order {
    std::string verb;
    std::vector<std::string> options; ///< of the verb, as on a command line
    std::string extension;            ///< of results, with its dot
    bool printsResult = false;        ///< JSON on stdout; otherwise the verb takes -o
    RunCommand run;
};

/// What a child reports about its product on stdout, besides its exit status.
struct Report {
    std::string output, remark, verdict;
};
Report readReport(const std::string& text);

/// Makes one product's result, in a child process. The file appears complete or not at all.
/// @return an exit status. @throws loader::Error saying why there is no result.
int runUnit(const Order& order, const ResultFolder& folder, const product::FoundProduct& entry);

} // namespace batch
