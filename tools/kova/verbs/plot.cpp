#include <string>
#include <vector>

#include "kova/cli/python_verb.h"
#include "kova/verbs/verbs.h"

// The options of `kova plot`; the Python package draws.
namespace kova_tool {
namespace {

constexpr HelpText kPlotHelp = {
    R"(Kinds: tic and bpc (total ion and base peak chromatogram), overview (the run over time and m/z, and over
time and mobility), heatmap (m/z and mobility of a frame), mobilogram (intensity over mobility), spectrum (of a
frame, of an analysis without mobility, or summed over a range of times) and msms (the fragments of a
precursor). Without -o the plot is written to KIND.png.

The plots are made by the Python package kovadata with matplotlib. The interpreter is python3, or what the
environment variable KOVADATA_PYTHON names.
)",
    R"(  kova plot tic run.d
  kova plot heatmap run.d --frame 1 -o frame.png --mz-range 400 800
  kova plot spectrum run.d --time-range 60 90 --mobility-range 0.9 1.0
  kova plot msms run.d --precursor 3 -o precursor.svg --size 3.5 2.5
)",
    "the plot cannot be made, or what it needs is not installed"};

constexpr PassedOption kPlotOptions[] = {
    {"-o,--output", "FILE", "file to write, KIND.png by default; its ending decides the format"},
    {"--frame", "ID", "id of the frame or spectrum", Takes::Numbers},
    {"--precursor", "ID", "id of the precursor", Takes::Numbers},
    {"--mz-range", "A B", "show only m/z from A to B", Takes::Numbers, 2},
    {"--mobility-range", "A B", "show only 1/K0 from A to B", Takes::Numbers, 2},
    {"--time-range", "A B", "take only frames from A to B, in s (overview, spectrum)", Takes::Numbers, 2},
    {"--labels", "N", "label at most so many peaks (spectrum, msms)", Takes::Numbers},
    {"--size", "W H", "size of the picture in inches", Takes::Numbers, 2},
    {"--dpi", "N", "dots per inch, 150 by default", Takes::Numbers},
    {"--form", "{profile,lines}", "profile or lines of a spectrum without mobility"}};

struct PlotOptions : PythonOptions {
    std::string kind;
};

int runPlot(const PlotOptions& options) {
    const PythonProgram program = {"kovadata.plot",
                                   {"kovadata.plot", "matplotlib"},
                                   "the Python packages kovadata and matplotlib",
                                   "plots"};
    runPythonVerb(program, {options.kind}, options);
}

}  // namespace

void addPlot(const Parser& app, Action& action) {
    Verb<PlotOptions> verb(app, action, "plot", "Plots what an analysis holds", kPlotHelp);
    const Parser& arguments = verb.arguments();
    PlotOptions& options = verb.options();
    arguments.option("KIND", options.kind, "kind of plot")
        .required()
        .oneOf({"tic", "bpc", "overview", "heatmap", "mobilogram", "spectrum", "msms"});
    addAnalysis(arguments, options);
    addPassed(arguments, options, kPlotOptions);
    arguments.flag("--recalibrated", options.calibration.newest,
                   "use the newest complete re-calibrated state, if there is one");
    verb.runs(runPlot);
}

}  // namespace kova_tool
