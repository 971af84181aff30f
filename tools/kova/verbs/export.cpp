#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/number_input.h"
#include "kova/cli/python_module.h"
#include "kova/cli/ranges.h"
#include "kova/failure.h"
#include "kova/verbs/verbs.h"

// The options of `kova export`; the Python package does the work. Ranges and numbers are checked here as
// well, so that mistakes are reported in the words of this command.
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

using Words = std::vector<std::string>;

// Options are passed on in the words of the command line, so that none changes on the way.
struct PassedOption {
    std::string name;
    Words value;
};

struct ExportOptions : CommonOptions {
    // Each stays where it is: the parser keeps their addresses.
    PassedOption output = {"-o", {}};
    PassedOption format = {"--format", {}};
    PassedOption content = {"--content", {}};
    PassedOption layout = {"--layout", {}};
    PassedOption columns = {"--columns", {}};
    PassedOption compression = {"--compression", {}};
    PassedOption mobility = {"--mobility", {}};
    PassedOption frames = {"--frames", {}};
    PassedOption msLevel = {"--ms-level", {}};
    PassedOption time = {"--time", {}};
    PassedOption mz = {"--mz", {}};
    PassedOption oneOverK0 = {"--k0", {}};
    PassedOption minIntensity = {"--min-intensity", {}};
    PassedOption top = {"--top", {}};
    PassedOption memory = {"--memory", {}};
    bool raw = false;
    bool force = false;
    bool check = false;
};

Words moduleArguments(const ExportOptions& options) {
    Words arguments = {"export"};
    for (const PassedOption* option :
         {&options.output, &options.format, &options.content, &options.layout, &options.columns,
          &options.compression, &options.mobility, &options.frames, &options.msLevel, &options.time,
          &options.mz, &options.oneOverK0, &options.minIntensity, &options.top, &options.memory}) {
        // A value may begin with a dash, such as the range of an instrument that counts from below 0.
        for (const std::string& value : option->value) {
            arguments.push_back(option->name.starts_with("--") ? option->name + "=" + value
                                                               : option->name + value);
        }
    }
    const auto pass = [&](const char* name, bool isGiven) {
        if (isGiven) {
            arguments.emplace_back(name);
        }
    };
    pass("--raw", options.raw);
    pass("--recalibrated", options.calibration.newest);
    if (!options.calibration.state.empty()) {
        arguments.push_back("--calibration=" + options.calibration.state);
    }
    if (options.threads != 0) {
        arguments.push_back("--threads=" + std::to_string(options.threads));
    }
    pass("--skip-damaged", options.skipDamaged);
    pass("--force", options.force);
    pass("--check", options.check);
    pass("--quiet", options.quiet);
    arguments.insert(arguments.end(), {"--", options.directory});
    return arguments;
}

int runExport(const ExportOptions& options) {
    for (const PassedOption* range : {&options.time, &options.mz, &options.oneOverK0}) {
        for (const std::string& value : range->value) {
            parseValueRange(range->name, value);
        }
    }
    numbersOf(options.minIntensity.value);
    const PythonProgram program = {
        "kovadata", {"kovadata._export"}, "the Python package kovadata with its extra `export`", "exports"};
    runPythonModule(program, moduleArguments(options));
}

void addContent(CLI::App& arguments, ExportOptions& options) {
    const auto choose = [&](PassedOption& option, const std::vector<std::string>& words, const char* text) {
        restrictTo(*arguments.add_option(option.name, option.value, text)->expected(1), words);
    };
    const auto add = [&](PassedOption& option, const char* type, const char* text) {
        arguments.add_option(option.name, option.value, text)
            ->expected(1)
            ->type_name(type)
            ->option_text(type);
    };
    arguments.add_option("-o,--output", options.output.value, "file to write; its ending decides the format")
        ->required()
        ->expected(1)
        ->type_name("FILE")
        ->option_text("FILE (required)");
    choose(options.format, {"parquet", "arrow", "mzml", "mzmlb", "mgf", "ms2"},
           "the format, if the ending does not say it");
    choose(options.content, {"peaks", "frames", "precursors", "msms"},
           "what a table has a row for, peaks by default");
    choose(options.layout, {"frame", "mz"},
           "order of peaks in Parquet: frame by frame, or sorted by m/z for instant questions");
    add(options.columns, "A,B", "columns of peaks, as the Python package names them");
    add(options.compression, "NAME", "zstd, lz4, snappy, zlib or none, as the format has it");
    choose(options.mobility, {"keep", "sum", "drop"},
           "sum: add the scans of survey frames up; drop: allow columns without mobility");
}

void addFilters(CLI::App& arguments, ExportOptions& options) {
    const auto add = [&](PassedOption& option, const char* type, const char* text) {
        arguments.add_option(option.name, option.value, text)
            ->expected(1)
            ->type_name(type)
            ->option_text(type);
    };
    add(options.frames, "LIST", "ids of frames, such as 1,3,10:20, ends included");
    restrictTo(*arguments.add_option("--ms-level", options.msLevel.value, "only this level")->expected(1),
               {"1", "2"});
    add(options.time, "A:B", "range of retention times in s");
    add(options.mz, "A:B", "range of m/z in Th; either end may be left out");
    add(options.oneOverK0, "A:B", "range of 1/K0 in V s / cm^2");
    add(options.minIntensity, "N", "least intensity of a peak");
    CLI::Option* top = arguments.add_option(options.top.name, options.top.value,
                                            "no more than the N strongest peaks of an MS/MS spectrum");
    requirePositive(*top->expected(1)->type_name("N"));
    arguments.add_flag("--raw", options.raw, "intensities as they were measured");
}

}  // namespace

void addExport(CLI::App& app, Action& action) {
    Verb<ExportOptions> verb(app, action, "export", "Writes a run into a file that other programs read",
                             kExportHelp);
    CLI::App& arguments = verb.arguments();
    ExportOptions& options = verb.options();
    addAnalysis(arguments, options);
    addContent(arguments, options);
    addFilters(arguments, options);
    addCalibration(arguments, options);
    addWork(arguments, options);
    arguments
        .add_option(options.memory.name, options.memory.value,
                    "memory for what waits and what is sorted, 512M by default")
        ->expected(1)
        ->type_name("SIZE")
        ->option_text("SIZE");
    arguments.add_flag("--force", options.force, "replace a file of that name");
    arguments.add_flag("--check", options.check, "read the file back and compare every value");
    addQuiet(arguments, options);
    verb.runs(runExport);
}

}  // namespace kova_tool
