// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <iomanip>
#include <set>
#include <sstream>

/// The text of --help: description, a line "Usage:", sections of two columns, footer. CLI11's own
/// text differs from version to version; tools/make_man.py reads this one.
class HelpText : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode) const override {
        std::ostringstream text;
        if (!app->get_description().empty())
            text << app->get_description() << '\n';
        text << "Usage: " << name << " [OPTIONS]";
        const auto positionals =
            app->get_options([](const CLI::Option* each) { return each->get_positional(); });
        for (const auto* each : positionals)
            text << ' ' << usageOf(*each);
        const auto verbs = app->get_subcommands({});
        if (!verbs.empty())
            text << (app->get_require_subcommand_min() == 0 ? " [SUBCOMMAND]" : " SUBCOMMAND");
        text << '\n';

        if (!positionals.empty())
            text << "\nPositionals:\n";
        for (const auto* each : positionals)
            addRow(text, each->get_name(true, false) + argumentOf(*each), each->get_description());
        const char* between = "";
        for (const auto& group : app->get_groups()) {
            const auto options = app->get_options([&](const CLI::Option* each) {
                return each->get_group() == group && each->nonpositional();
            });
            if (options.empty() || group.empty())
                continue;
            text << between << '\n' << (group == "OPTIONS" ? "Options" : group) << ":\n";
            for (const auto* each : options)
                addRow(text, each->get_name(false, true) + argumentOf(*each),
                       each->get_description());
            between = "\n";
        }
        if (!verbs.empty())
            text << "\nSubcommands:\n";
        for (const auto* each : verbs)
            addRow(text, each->get_name(), each->get_description());
        text << '\n';
        if (!app->get_footer().empty())
            text << app->get_footer() << '\n';
        return text.str();
    }

private:
    static bool isList(const CLI::Option& option) {
        return option.get_expected_max() >= CLI::detail::expected_max_vector_size;
    }

    static std::string usageOf(const CLI::Option& positional) {
        const std::string text =
            positional.get_name(true, false) + (isList(positional) ? "..." : "");
        return positional.get_required() ? text : '[' + text + ']';
    }

    /// The text after an option's name: type, default, number of values, and excluded options.
    static std::string argumentOf(const CLI::Option& option) {
        std::string text;
        if (option.get_type_size() != 0) {
            if (!option.get_type_name().empty())
                text += ' ' + option.get_type_name();
            if (!option.get_default_str().empty())
                text += '=' + option.get_default_str();
            if (isList(option))
                text += " ...";
            else if (option.get_expected_min() > 1)
                text += " x " + std::to_string(option.get_expected());
            if (option.get_required())
                text += " REQUIRED";
        }
        std::set<std::string> others;
        for (const auto* each : option.get_excludes())
            others.insert(each->get_name());
        if (!others.empty())
            text += " Excludes:";
        for (const auto& each : others)
            text += ' ' + each;
        return text;
    }

    void addRow(std::ostream& text, const std::string& term, const std::string& description) const {
        const auto width = static_cast<int>(column_width_);
        const std::string left = "  " + term;
        text << std::setw(width) << std::left << left;
        if (!description.empty() && left.size() >= column_width_)
            text << '\n' << std::setw(width) << "";
        for (const char each : description) {
            text << each;
            if (each == '\n')
                text << std::setw(width) << "";
        }
        text << '\n';
    }
};
