// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

/// The output of rfsar: data to stdout, diagnostics to stderr; inside another program, to its
/// listener.
namespace console {

/// The stream for data that a verb prints.
std::ostream& out();

/// Receives the warnings and the progress of verbs that a program runs. Functions may be unset.
struct Listener {
    std::function<void(const std::string&)> warning;
    std::function<void(double done)> progress; ///< 0 to 1, now and then; may throw to end the work
};

/// While it lives, diagnostics go to a listener instead of stderr, and data goes into a stream.
class Listening {
public:
    Listening(const Listener& listener, std::ostream& data);
    ~Listening();
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
};

/// Silences progress, notes and warnings (-q).
void setQuiet(bool quiet);

void warning(const std::string& text);
void error(std::string_view text);
/// Reports a decision that may surprise the user.
void note(const std::string& text);

/// Prints a JSON document, indented; texts that are not valid UTF-8 are repaired.
void printJson(const nlohmann::ordered_json& document);

/// A progress bar on stderr, shown only if stderr is a terminal.
class Progress {
public:
    Progress(std::string what, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advanceTo(std::uint64_t done);

private:
    std::string what_;
    std::uint64_t total_;
    bool shown_;
    int percent_ = -1;
};

} // namespace console
