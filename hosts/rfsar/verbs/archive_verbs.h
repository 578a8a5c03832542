// SPDX-License-Identifier: MIT
#pragma once

#include "batch/run_command.h"

#include <CLI/CLI.hpp>

#include <functional>

/// The verbs for many products; those for one product are in verbs.h.
void addList(CLI::App& app, int& status);
void addCatalogue(CLI::App& app);
void addFind(CLI::App& app);

/// Adds the verbs for a single product.
using AddVerbs = std::function<void(CLI::App& app, int& status)>;
/// @param addVerbs  adds the verbs that a batch can run
/// @param runCommand  runs rfsar itself with other arguments
void addBatch(CLI::App& app, int& status, const AddVerbs& addVerbs,
              const batch::RunCommand& runCommand);
