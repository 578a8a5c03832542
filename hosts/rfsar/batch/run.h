// SPDX-License-Identifier: MIT
#pragma once

#include "batch/children.h"
#include "batch/unit.h"

#include <optional>

namespace batch {

/// One of `count` parts of a list; `number` counts from 1.
struct Chunk {
    std::size_t number = 1, count = 1;
};

struct Request {
    Order order;
    std::string into;                 ///< folder of results
    std::vector<std::string> entries; ///< products and folders
    std::string list;                 ///< file with further ones, one per line; "-" for stdin
    std::size_t atOnce = 1;
    ChildLimits limits;
    bool force = false;
    std::optional<Chunk> chunk;
};

/// A product whose result is to be made.
struct Missing {
    std::size_t product;
    std::string reason; ///< why an existing result is made again
    Recipe recipe;
};

struct Work {
    std::vector<product::FoundProduct> products;
    std::vector<Missing> missing;
};

/// Finds the products of a request, and which of them lack a result. Opens no product.
/// @throws loader::Error when the list cannot be read or the folder holds another verb's results.
Work planWork(const Request& request, const ResultFolder& folder);

/// Drops files that were found in folders and are no products.
void dropForeign(Work& work, const Request& request);

/// Makes the missing results and shows progress; every product gets its row.
void makeResults(const Request& request, ResultFolder& folder, const Work& work);

/// Which products with a valid result get their row marked as kept.
enum class Keep {
    all,
    joined, ///< except rows added since the last join, whose results are new
};
void keepResults(ResultFolder& folder, const Work& work, Keep which);

/// Prints how many are done, kept and failed. @return whether none failed.
bool summarise(const Request& request, const ResultFolder& folder, const Work& work);

/// The three ways to run: all products, one chunk whose rows are joined later, and the join.
/// @return the exit status.
int runAll(const Request& request);
int runChunk(const Request& request);
int runJoin(const Request& request);

/// Prints the products that lack a result, one per line.
int printMissing(const Request& request);

} // namespace batch
