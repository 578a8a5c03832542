// SPDX-License-Identifier: MIT
#pragma once

#include "batch/run_command.h"

#include <CLI/CLI.hpp>

#include <functional>

/// The verbs for many products, as verbs.h has those for one.
void addList(CLI::App& app, int& status);
void addCatalogue(CLI::App& app);
void addFind(CLI::App& app);

/// Adds the verbs that do something with a product.
using AddVerbs = std::function<void(CLI::App& app, int& status)>;
/// @param addVerbs  those that a batch chooses from
/// @param runCommand  rfsar itself with other arguments
void addBatch(CLI::App& app, int& status, const AddVerbs& addVerbs,
              const batch::RunCommand& runCommand);
