#pragma once

#include <functional>
#include <memory>

#include "common/command_line.h"
#include "kova/cli/help_text.h"

namespace kova_tool {

using kova_tool_common::Parser;

// What the verb on the command line does; returns the exit status.
using Action = std::function<int()>;

// A verb under construction: its part of the command line, and the options that parsing fills in. The options
// live on the heap and are shared with the action, since both outlive this object.
template <class Options>
class Verb {
public:
    Verb(const Parser& app, Action& chosenAction, const char* name, const char* description,
         const HelpText& help)
        : parser(app.verb(name, description)), action(chosenAction) {
        parser.footer(footerOf(help));
    }

    const Parser& arguments() const { return parser; }
    Options& options() { return *values; }

    // Parsing the verb makes this the action: a function of the options that returns the exit status.
    template <class Run>
    void runs(Run run) {
        parser.chosen(
            [run, &chosen = action, kept = values] { chosen = [run, kept] { return run(*kept); }; });
    }

private:
    Parser parser;
    Action& action;
    std::shared_ptr<Options> values = std::make_shared<Options>();
};

// Each adds its verb to the command line.
void addInfo(const Parser& app, Action& action);
void addFrames(const Parser& app, Action& action);
void addScans(const Parser& app, Action& action);
void addSpectrum(const Parser& app, Action& action);
void addPeaks(const Parser& app, Action& action);
void addSum(const Parser& app, Action& action);
void addXic(const Parser& app, Action& action);
void addMsms(const Parser& app, Action& action);
void addConvert(const Parser& app, Action& action);
void addCheck(const Parser& app, Action& action);
void addExport(const Parser& app, Action& action);
void addPlot(const Parser& app, Action& action);
void addReport(const Parser& app, Action& action);
void addView(const Parser& app, Action& action);
void addCompletions(const Parser& app, Action& action);

}  // namespace kova_tool
