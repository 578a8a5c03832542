// SPDX-License-Identifier: MIT
#pragma once

#include "batch/children.h"
#include "batch/unit.h"

#include <optional>

namespace batch {

/// A part of a list, from 1.
struct Chunk {
    std::size_t number = 1, count = 1;
};

struct Request {
    Order order;
    std::string into;                 ///< folder of results
    std::vector<std::string> entries; ///< products and folders
    std::string list;                 ///< file of further ones, a line each; "-" for stdin
    std::size_t atOnce = 1;
    ChildLimits limits;
    bool force = false;
    std::optional<Chunk> chunk;
};

/// A product whose result is to be made.
struct Missing {
    std::size_t product;
    std::string reason; ///< why a result that is there is made anew
    Recipe recipe;
};

struct Work {
    std::vector<product::FoundProduct> products;
    std::vector<Missing> missing;
};

/// Finds the products of a request, and which of them lack a result. Opens none.
/// @throws loader::Error when the list cannot be read or the folder holds another verb's results.
Work planWork(const Request& request, const ResultFolder& folder);

/// Drops files that were met in folders and are no products.
void dropForeign(Work& work, const Request& request);

/// Makes results, with progress; every product gets its row.
void makeResults(const Request& request, ResultFolder& folder, const Work& work);

/// Which of the products that lack nothing get rows that say kept.
enum class Keep {
    all,
    joined, ///< but those whose rows were added since the last join: they were made meanwhile
};
void keepResults(ResultFolder& folder, const Work& work, Keep which);

/// Tells how many are done, kept and failed. @return whether none failed.
bool summarise(const Request& request, const ResultFolder& folder, const Work& work);

/// The three ways to run: all at once, a chunk whose rows are joined later, and that.
/// @return the exit status.
int runAll(const Request& request);
int runChunk(const Request& request);
int runJoin(const Request& request);

/// Prints the products that lack a result, a line each.
int printMissing(const Request& request);

} // namespace batch
