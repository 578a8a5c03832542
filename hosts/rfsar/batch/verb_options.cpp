// SPDX-License-Identifier: MIT
#include "batch/verb_options.h"

namespace batch {

bool leaveOptionsOnly(CLI::App& verb, bool& printsResult) {
    std::vector<CLI::Option*> own;
    for (CLI::Option* option : verb.get_options())
        if (option->get_positional())
            own.push_back(option);
    if (own.size() != 1)
        return false;
    CLI::Option* output = verb.get_option_no_throw("-o");
    CLI::Option* json = verb.get_option_no_throw("--json");
    printsResult = !output;
    if (!output && !json)
        return false;
    for (CLI::Option* option : {output, json, verb.get_option_no_throw("--force")})
        if (option)
            own.push_back(option);
    for (CLI::Option* option : own)
        verb.remove_option(option);
    return true;
}

std::vector<std::string> givenOptions(const CLI::App& verb) {
    std::vector<std::string> words;
    for (const CLI::Option* option : verb.get_options()) {
        const bool isFlag = option->get_items_expected_max() == 0;
        const std::string name =
            "--" + (option->get_lnames().empty() ? "" : option->get_lnames()[0]);
        for (const std::string& value : option->results())
            if (isFlag && value == "true")
                words.push_back(name);
            else if (value.empty())
                words.insert(words.end(), {name, value});
            else
                words.push_back(name + '=' + value);
    }
    return words;
}

} // namespace batch
