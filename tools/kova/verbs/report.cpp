#include <string>
#include <vector>

#include "kova/cli/python_verb.h"
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

constexpr PassedOption kReportOptions[] = {
    {"-o,--output", "FILE", "file to write; without it --json prints the numbers"},
    {"--threads", "N", "threads to work with, by default all processors", Takes::CountFromOne},
    {"--force", "", "replace a file of that name", Takes::Nothing}};

int runReport(const PythonOptions& options) {
    if (options.given.front().values.empty() && !options.json) {
        throw UsageError("--output is required, unless --json prints the numbers");
    }
    std::vector<std::string> needed = {"kovadata._report"};
    if (!options.json) {
        needed.emplace_back("bokeh");
    }
    runPythonVerb({"kovadata", needed, "the Python package kovadata with its extra `view`", "reports"},
                  {"report"}, options);
}

}  // namespace

void addReport(const Parser& app, Action& action) {
    Verb<PythonOptions> verb(app, action, "report", "Writes a report of runs into one HTML file",
                             kReportHelp);
    const Parser& arguments = verb.arguments();
    PythonOptions& options = verb.options();
    addAnalyses(arguments, options, "directories of the analyses; several are compared with each other");
    addPassed(arguments, options, kReportOptions);
    arguments.flag("--json", options.json, "the numbers as JSON instead of the page");
    addCalibration(arguments, options);
    addQuiet(arguments, options);
    verb.runs(runReport);
}

}  // namespace kova_tool
