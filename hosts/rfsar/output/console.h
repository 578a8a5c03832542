#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <string_view>

/// Where rfsar talks: data to stdout, diagnostics to stderr.
namespace console {

/// Silences progress, notes and warnings (-q).
void setQuiet(bool quiet);

void warning(const std::string& text);
void error(std::string_view text);
/// What was done, where it may surprise.
void note(const std::string& text);

/// Writes a JSON document to stdout, indented; texts that are not valid UTF-8 are repaired.
void printJson(const nlohmann::ordered_json& document);

/// A bar on stderr for long work; nothing unless stderr is a terminal.
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
