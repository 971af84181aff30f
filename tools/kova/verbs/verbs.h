#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>

#include "kova/cli/help_text.h"

namespace kova_tool {

// What the verb on the command line does; returns the exit status.
using Action = std::function<int()>;

// A verb under construction: its part of the command line, and the options that parsing fills in. The options
// live on the heap and are shared with the action, since both outlive this object.
template <class Options>
class Verb {
public:
    Verb(CLI::App& app, Action& chosenAction, const char* name, const char* description, const HelpText& help)
        : parser(*app.add_subcommand(name, description)), action(chosenAction) {
        parser.footer(footerOf(help));
    }

    CLI::App& arguments() { return parser; }
    Options& options() { return *values; }

    // Parsing the verb makes this the action: a function of the options that returns the exit status.
    template <class Run>
    void runs(Run run) {
        parser.callback(
            [run, &chosen = action, kept = values] { chosen = [run, kept] { return run(*kept); }; });
    }

private:
    CLI::App& parser;
    Action& action;
    std::shared_ptr<Options> values = std::make_shared<Options>();
};

// Each adds its verb to the command line.
void addInfo(CLI::App& app, Action& action);
void addFrames(CLI::App& app, Action& action);
void addScans(CLI::App& app, Action& action);
void addSpectrum(CLI::App& app, Action& action);
void addPeaks(CLI::App& app, Action& action);
void addSum(CLI::App& app, Action& action);
void addXic(CLI::App& app, Action& action);
void addMsms(CLI::App& app, Action& action);
void addConvert(CLI::App& app, Action& action);
void addCheck(CLI::App& app, Action& action);
void addExport(CLI::App& app, Action& action);
void addPlot(CLI::App& app, Action& action);
void addReport(CLI::App& app, Action& action);
void addView(CLI::App& app, Action& action);
void addCompletions(CLI::App& app, Action& action);

}  // namespace kova_tool
