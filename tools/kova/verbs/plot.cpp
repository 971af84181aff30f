#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/number_input.h"
#include "kova/cli/python_module.h"
#include "kova/failure.h"
#include "kova/verbs/verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kPlotHelp = {
    R"(Kinds: tic (intensity over retention time), heatmap (m/z and mobility of a frame), mobilogram (intensity
over mobility) and msms (the fragments of a precursor). Without -o the plot is written to KIND.png.

The plots are made by the Python package kovadata with matplotlib. The interpreter is python3, or what the
environment variable KOVADATA_PYTHON names.
)",
    R"(  kova plot tic run.d
  kova plot heatmap run.d --frame 1 -o frame.png --mz-range 400 800
  kova plot msms run.d --precursor 3 -o precursor.svg
)",
    "the plot cannot be made, or what it needs is not installed"};

using Words = std::vector<std::string>;

// Options are passed on in the words of the command line, so that none changes on the way.
struct PlotOptions : CommonOptions {
    std::string kind;
    Words output;
    Words frame;
    Words precursor;
    Words mzRange;
    Words mobilityRange;
};

Words moduleArguments(const PlotOptions& options) {
    Words arguments = {options.kind, options.directory};
    const auto pass = [&](const char* name, const Words& values) {
        if (!values.empty()) {
            arguments.emplace_back(name);
            arguments.insert(arguments.end(), values.begin(), values.end());
        }
    };
    pass("-o", options.output);
    pass("--frame", options.frame);
    pass("--precursor", options.precursor);
    pass("--mz-range", options.mzRange);
    pass("--mobility-range", options.mobilityRange);
    if (options.calibration.newest) {
        arguments.emplace_back("--recalibrated");
    }
    return arguments;
}

int runPlot(const PlotOptions& options) {
    for (const Words* values :
         {&options.frame, &options.precursor, &options.mzRange, &options.mobilityRange}) {
        numbersOf(*values);
    }
    runPythonModule("kovadata.plot", {"kovadata.plot", "matplotlib"}, moduleArguments(options));
}

}  // namespace

void addPlot(CLI::App& app, Action& action) {
    Verb<PlotOptions> verb(app, action, "plot", "Plots what an analysis holds", kPlotHelp);
    CLI::App& arguments = verb.arguments();
    PlotOptions& options = verb.options();
    CLI::Option* kind = arguments.add_option("KIND", options.kind, "kind of plot")->required();
    restrictTo(*kind, {"tic", "heatmap", "mobilogram", "msms"});
    addAnalysis(arguments, options);
    const auto add = [&](const char* name, Words& values, int count, const char* type, const char* text) {
        arguments.add_option(name, values, text)->expected(count)->type_name(type)->option_text(type);
    };
    add("-o,--output", options.output, 1, "FILE",
        "file to write, KIND.png by default; its ending tells the format");
    add("--frame", options.frame, 1, "ID", "id of the frame");
    add("--precursor", options.precursor, 1, "ID", "id of the precursor");
    add("--mz-range", options.mzRange, 2, "A B", "show only m/z from A to B");
    add("--mobility-range", options.mobilityRange, 2, "A B", "show only 1/K0 from A to B");
    arguments.add_flag("--recalibrated", options.calibration.newest,
                       "use the newest complete re-calibrated state, if there is one");
    verb.runs(runPlot);
}

}  // namespace kova_tool
