#include <string>
#include <vector>

#include "kova/cli/python_verb.h"
#include "kova/verbs/verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kViewHelp = {
    R"(The page shows chromatograms, frames as maps that are drawn again at every zoom, the whole run, boxes drawn into
maps, precursors and calibration states. It is served to this computer alone, at an address with a token without
which nothing is shown. Ctrl-C ends it.

The page is made by the Python package kovadata with bokeh, its extra `view`. The interpreter is python3, or what
the environment variable KOVADATA_PYTHON names.
)",
    R"(  kova view run.d
  kova view run.d other.d --recalibrated
  kova view run.d --no-browser --port 8080
)",
    "a run cannot be opened, or what the page needs is not installed"};

constexpr PassedOption kViewOptions[] = {
    {"--no-browser", "", "print the address and open no browser", Takes::Nothing},
    {"--port", "N", "port to listen on, one that is free by default"},
    {"--listen", "ADDRESS",
     "address to listen on, not 127.0.0.1; who reaches it and knows the token sees the runs"}};

int runView(const PythonOptions& options) {
    const PythonProgram program = {"kovadata.view",
                                   {"kovadata.view", "bokeh"},
                                   "the Python package kovadata with its extra `view`",
                                   "pages"};
    runPythonVerb(program, {}, options);
}

}  // namespace

void addView(const Parser& app, Action& action) {
    Verb<PythonOptions> verb(app, action, "view", "Shows runs in the browser", kViewHelp);
    const Parser& arguments = verb.arguments();
    PythonOptions& options = verb.options();
    addAnalyses(arguments, options, "directories of the analyses to choose from");
    addPassed(arguments, options, kViewOptions);
    addCalibration(arguments, options);
    verb.runs(runView);
}

}  // namespace kova_tool
