// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

/// One function per verb, which declares the verb's arguments on the app. The verb runs as the
/// callback, throws loader::Error for the user, and returns the exit status through `status`.
void addCheck(CLI::App& app, int& status);
void addFormats(CLI::App& app);
void addDoctor(CLI::App& app, int& status);
void addIdentify(CLI::App& app, int& status);
void addInfo(CLI::App& app, int& status);
void addNode(CLI::App& app);
void addExport(CLI::App& app);
void addGeocode(CLI::App& app);
void addRtc(CLI::App& app);
void addRead(CLI::App& app);
void addLocate(CLI::App& app);
void addQuicklook(CLI::App& app);
void addStac(CLI::App& app);
