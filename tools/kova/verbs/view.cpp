#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/python_module.h"
#include "kova/failure.h"
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

using Words = std::vector<std::string>;

struct ViewOptions : CommonOptions {
    Words directories;
    Words port;
    Words listen;
    bool noBrowser = false;
};

int runView(const ViewOptions& options) {
    Words arguments;
    const auto pass = [&](const char* name, const Words& values) {
        for (const std::string& value : values) {
            arguments.push_back(std::string(name) + "=" + value);
        }
    };
    pass("--port", options.port);
    pass("--listen", options.listen);
    if (options.noBrowser) {
        arguments.emplace_back("--no-browser");
    }
    if (options.calibration.newest) {
        arguments.emplace_back("--recalibrated");
    }
    if (!options.calibration.state.empty()) {
        arguments.push_back("--calibration=" + options.calibration.state);
    }
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), options.directories.begin(), options.directories.end());
    const PythonProgram program = {"kovadata.view",
                                   {"kovadata.view", "bokeh"},
                                   "the Python package kovadata with its extra `view`",
                                   "pages"};
    runPythonModule(program, arguments);
}

}  // namespace

void addView(CLI::App& app, Action& action) {
    Verb<ViewOptions> verb(app, action, "view", "Shows runs in the browser", kViewHelp);
    CLI::App& arguments = verb.arguments();
    ViewOptions& options = verb.options();
    arguments.add_option("ANALYSIS", options.directories, "directories of the analyses to choose from")
        ->required()
        ->type_name("")
        ->option_text("... (required)");
    arguments.add_flag("--no-browser", options.noBrowser, "print the address and open no browser");
    arguments.add_option("--port", options.port, "port to listen on, one that is free by default")
        ->expected(1)
        ->type_name("N")
        ->option_text("N");
    arguments
        .add_option("--listen", options.listen,
                    "address to listen on, not 127.0.0.1; who reaches it and knows the token sees the runs")
        ->expected(1)
        ->type_name("ADDRESS")
        ->option_text("ADDRESS");
    addCalibration(arguments, options);
    verb.runs(runView);
}

}  // namespace kova_tool
