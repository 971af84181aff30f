#include "kova/cli/command_options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>

// Options that several verbs have are declared once, so that they have the same name, help and meaning
// everywhere. The parser writes their values into the CommonOptions of the verb and keeps its address.
namespace kova_tool {

OutputFormat CommonOptions::format() const {
    if (json) {
        return OutputFormat::Json;
    }
    return csv ? OutputFormat::Csv : OutputFormat::Text;
}

bool CommonOptions::showsProgressBesideOutput() const {
    return showsProgress() && isatty(STDOUT_FILENO) == 0;
}

void addAnalysis(CLI::App& verb, CommonOptions& options) {
    verb.add_option("ANALYSIS", options.directory,
                    "directory of the analysis (holds analysis.kvd or analysis.kvs)")
        ->required()
        ->type_name("");
}

void addJson(CLI::App& verb, CommonOptions& options) {
    verb.add_flag("--json", options.json, "write JSON instead of text");
}

void addCsvAndJson(CLI::App& verb, CommonOptions& options) {
    CLI::Option* csv = verb.add_flag("--csv", options.csv, "write CSV with full precision instead of text");
    verb.add_flag("--json", options.json, "write JSON with full precision instead of text")->excludes(csv);
}

void addCalibration(CLI::App& verb, CommonOptions& options) {
    CLI::Option* newest = verb.add_flag("--recalibrated", options.calibration.newest,
                                        "use the newest complete re-calibrated state, if there is one");
    verb.add_option("--calibration", options.calibration.state,
                    "use a certain state, which must be there: off, first[:SOURCE], last[:SOURCE],\n"
                    "lastIncomplete:SOURCE or uuid:KEY (`kova info` lists them)")
        ->type_name("MODE")
        ->excludes(newest);
}

void restrictTo(CLI::Option& option, const std::vector<std::string>& words) {
    option.check(CLI::IsMember(words).description(""))->type_name("{" + CLI::detail::join(words) + "}");
}

void requirePositive(CLI::Option& option) {
    const auto check = [](const std::string& text) {
        const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        const bool isPositive = isNumber && text.find_first_not_of('0') != std::string::npos;
        return isPositive ? std::string() : "'" + text + "' is not a whole number from 1";
    };
    option.check(check);
}

void addWork(CLI::App& verb, CommonOptions& options) {
    CLI::Option* threads =
        verb.add_option("--threads", options.threads, "threads to work with, by default all processors");
    requirePositive(*threads->type_name("N"));
    verb.add_flag("--skip-damaged", options.skipDamaged,
                  "leave damaged frames out, and name them; without it the first one is a failure");
}

void addQuiet(CLI::App& verb, CommonOptions& options) {
    verb.add_flag("--quiet", options.quiet,
                  "show no progress; none is shown either when standard error is not a terminal");
}

}  // namespace kova_tool
