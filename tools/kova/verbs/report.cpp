#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/python_module.h"
#include "kova/failure.h"
#include "kova/verbs/verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kReportHelp = {
    R"(FILE is one HTML page of at most 5 MB that opens anywhere and asks for nothing outside of itself: what was
measured and how, chromatograms, maps, distributions, MS/MS, example spectra, calibrations and damage. Several
runs are compared. Damaged frames are listed, and the rest is reported. FILE appears when it is complete.

The page is made by the Python package kovadata with the packages of its extra `view`. The interpreter is
python3, or what the environment variable KOVADATA_PYTHON names.
)",
    R"(  kova report run.d -o run.html
  kova report monday.d tuesday.d -o week.html --recalibrated
  kova report run.d --json > run.json
)",
    "a run cannot be opened, or the file cannot be written; nothing is left of it"};

using Words = std::vector<std::string>;

struct ReportOptions : CommonOptions {
    Words directories;
    Words output;
    bool force = false;
};

// Options are passed on in the words of the command line, so that none changes on the way.
Words moduleArguments(const ReportOptions& options) {
    Words arguments = {"report"};
    if (!options.output.empty()) {
        arguments.push_back("-o" + options.output.front());
    }
    const auto pass = [&](const char* name, bool isGiven) {
        if (isGiven) {
            arguments.emplace_back(name);
        }
    };
    pass("--json", options.json);
    pass("--recalibrated", options.calibration.newest);
    if (!options.calibration.state.empty()) {
        arguments.push_back("--calibration=" + options.calibration.state);
    }
    if (options.threads != 0) {
        arguments.push_back("--threads=" + std::to_string(options.threads));
    }
    pass("--force", options.force);
    pass("--quiet", options.quiet);
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), options.directories.begin(), options.directories.end());
    return arguments;
}

int runReport(const ReportOptions& options) {
    if (options.output.empty() && !options.json) {
        throw UsageError("--output is required, unless --json prints the numbers");
    }
    Words needed = {"kovadata._report"};
    if (!options.json) {
        needed.emplace_back("bokeh");
    }
    const PythonProgram program = {"kovadata", needed, "the Python package kovadata with its extra `view`",
                                   "reports"};
    runPythonModule(program, moduleArguments(options));
}

}  // namespace

void addReport(CLI::App& app, Action& action) {
    Verb<ReportOptions> verb(app, action, "report", "Writes a report of runs into one HTML file",
                             kReportHelp);
    CLI::App& arguments = verb.arguments();
    ReportOptions& options = verb.options();
    arguments
        .add_option("ANALYSIS", options.directories,
                    "directories of the analyses; several are compared with each other")
        ->required()
        ->type_name("")
        ->option_text("... (required)");
    arguments
        .add_option("-o,--output", options.output, "file to write; without it --json prints the numbers")
        ->expected(1)
        ->type_name("FILE")
        ->option_text("FILE");
    arguments.add_flag("--json", options.json, "the numbers as JSON instead of the page");
    addCalibration(arguments, options);
    requirePositive(
        *arguments
             .add_option("--threads", options.threads, "threads to work with, by default all processors")
             ->type_name("N"));
    arguments.add_flag("--force", options.force, "replace a file of that name");
    addQuiet(arguments, options);
    verb.runs(runReport);
}

}  // namespace kova_tool
