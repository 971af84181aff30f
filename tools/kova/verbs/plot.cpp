#include <array>
#include <iterator>
#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/number_input.h"
#include "kova/cli/python_module.h"
#include "kova/failure.h"
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

using Words = std::vector<std::string>;

// Options are passed on in the words of the command line, so that none changes on the way.
struct Choice {
    const char* name;
    int count;
    const char* type;
    const char* text;
};
constexpr Choice kChoices[] = {
    {"--frame", 1, "ID", "id of the frame or spectrum"},
    {"--precursor", 1, "ID", "id of the precursor"},
    {"--mz-range", 2, "A B", "show only m/z from A to B"},
    {"--mobility-range", 2, "A B", "show only 1/K0 from A to B"},
    {"--time-range", 2, "A B", "take only frames from A to B, in s (overview, spectrum)"},
    {"--labels", 1, "N", "label at most so many peaks (spectrum, msms)"},
    {"--size", 2, "W H", "size of the picture in inches"},
    {"--dpi", 1, "N", "dots per inch, 150 by default"}};

struct PlotOptions : CommonOptions {
    std::string kind;
    Words output;
    Words form;
    std::array<Words, std::size(kChoices)> choices;
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
    pass("--form", options.form);
    for (std::size_t i = 0; i < std::size(kChoices); ++i) {
        pass(kChoices[i].name, options.choices[i]);
    }
    if (options.calibration.newest) {
        arguments.emplace_back("--recalibrated");
    }
    return arguments;
}

int runPlot(const PlotOptions& options) {
    for (const Words& values : options.choices) {
        numbersOf(values);
    }
    const PythonProgram program = {"kovadata.plot",
                                   {"kovadata.plot", "matplotlib"},
                                   "the Python packages kovadata and matplotlib",
                                   "plots"};
    runPythonModule(program, moduleArguments(options));
}

}  // namespace

void addPlot(CLI::App& app, Action& action) {
    Verb<PlotOptions> verb(app, action, "plot", "Plots what an analysis holds", kPlotHelp);
    CLI::App& arguments = verb.arguments();
    PlotOptions& options = verb.options();
    CLI::Option* kind = arguments.add_option("KIND", options.kind, "kind of plot")->required();
    restrictTo(*kind, {"tic", "bpc", "overview", "heatmap", "mobilogram", "spectrum", "msms"});
    addAnalysis(arguments, options);
    const auto add = [&](const char* name, Words& values, int count, const char* type, const char* text) {
        return arguments.add_option(name, values, text)->expected(count)->type_name(type)->option_text(type);
    };
    add("-o,--output", options.output, 1, "FILE",
        "file to write, KIND.png by default; its ending decides the format");
    for (std::size_t i = 0; i < std::size(kChoices); ++i) {
        const Choice& choice = kChoices[i];
        add(choice.name, options.choices[i], choice.count, choice.type, choice.text);
    }
    restrictTo(
        *arguments.add_option("--form", options.form, "profile or lines of a spectrum without mobility"),
        {"profile", "lines"});
    arguments.add_flag("--recalibrated", options.calibration.newest,
                       "use the newest complete re-calibrated state, if there is one");
    verb.runs(runPlot);
}

}  // namespace kova_tool
