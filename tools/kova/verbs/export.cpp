#include <string>
#include <vector>

#include "kova/cli/python_verb.h"
#include "kova/verbs/verbs.h"

// The options of `kova export`; the Python package does the work.
namespace kova_tool {
namespace {

constexpr HelpText kExportHelp = {
    R"(The ending of FILE decides the format: .parquet, .arrow or .feather, .mzML or .mzML.gz, .mzMLb, .mgf, .ms2; or
--format does. FILE appears when it is complete. Ranges are closed. Of an MS/MS spectrum, --time and --k0 choose by
its precursor, --frames by the survey frame, and --mz and --min-intensity choose peaks. --check compares every value
with the analysis, read back by a program that did not write it.

Files are written by the Python package kovadata with the packages of its extra `export`. The interpreter is
python3, or what the environment variable KOVADATA_PYTHON names.
)",
    R"(  kova export run.d -o run.parquet
  kova export run.d -o ions.parquet --layout mz --ms-level 1
  kova export run.d -o run.mzML.gz --check
  kova export run.d -o run.mgf --top 150 --recalibrated
)",
    "the file cannot be written, or --check found a difference; nothing is left of it"};

constexpr PassedOption kExportOptions[] = {
    {"-o,--output", "FILE", "file to write; its ending decides the format"},
    {"--format", "{parquet,arrow,mzml,mzmlb,mgf,ms2}", "the format, if the ending does not say it"},
    {"--content", "{peaks,frames,precursors,msms}", "what a table has a row for, peaks by default"},
    {"--layout", "{frame,mz}",
     "order of peaks in Parquet: frame by frame, or sorted by m/z for instant questions"},
    {"--columns", "A,B", "columns of peaks, as the Python package names them"},
    {"--compression", "NAME", "zstd, lz4, snappy, zlib or none, as the format has it"},
    {"--mobility", "{keep,sum,drop}",
     "sum: add the scans of survey frames up; drop: allow columns without mobility"},
    {"--frames", "LIST", "ids of frames, such as 1,3,10:20, ends included"},
    {"--ms-level", "{1,2}", "only this level"},
    {"--time", "A:B", "range of retention times in s", Takes::Range},
    {"--mz", "A:B", "range of m/z in Th; either end may be left out", Takes::Range},
    {"--k0", "A:B", "range of 1/K0 in V s / cm^2", Takes::Range},
    {"--min-intensity", "N", "least intensity of a peak", Takes::Numbers},
    {"--top", "N", "no more than the N strongest peaks of an MS/MS spectrum", Takes::CountFromOne},
    {"--raw", "", "intensities as they were measured", Takes::Nothing},
    {"--memory", "SIZE", "memory for what waits and what is sorted, 512M by default"},
    {"--force", "", "replace a file of that name", Takes::Nothing},
    {"--check", "", "read the file back and compare every value", Takes::Nothing}};

int runExport(const PythonOptions& options) {
    const PythonProgram program = {
        "kovadata", {"kovadata._export"}, "the Python package kovadata with its extra `export`", "exports"};
    runPythonVerb(program, {"export"}, options);
}

}  // namespace

void addExport(const Parser& app, Action& action) {
    Verb<PythonOptions> verb(app, action, "export", "Writes a run into a file that other programs read",
                             kExportHelp);
    const Parser& arguments = verb.arguments();
    PythonOptions& options = verb.options();
    addAnalysis(arguments, options);
    addPassed(arguments, options, kExportOptions);
    arguments.find("--output").required().shownAs("FILE (required)");
    addCalibration(arguments, options);
    addWork(arguments, options);
    addQuiet(arguments, options);
    verb.runs(runExport);
}

}  // namespace kova_tool
