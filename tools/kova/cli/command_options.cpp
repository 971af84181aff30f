#include "kova/cli/command_options.h"

#include <unistd.h>

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

void addAnalysis(const Parser& verb, CommonOptions& options) {
    verb.option("ANALYSIS", options.directory,
                "directory of the analysis (holds analysis.kvd or analysis.kvs)")
        .required()
        .type("");
}

void addJson(const Parser& verb, CommonOptions& options) {
    verb.flag("--json", options.json, "write JSON instead of text");
}

void addCsvAndJson(const Parser& verb, CommonOptions& options) {
    const Option csv = verb.flag("--csv", options.csv, "write CSV with full precision instead of text");
    verb.flag("--json", options.json, "write JSON with full precision instead of text").excludes(csv);
}

void addCalibration(const Parser& verb, CommonOptions& options) {
    const Option newest = verb.flag("--recalibrated", options.calibration.newest,
                                    "use the newest complete re-calibrated state, if there is one");
    verb.option("--calibration", options.calibration.state,
                "use a certain state, which must be there: off, first[:SOURCE], last[:SOURCE],\n"
                "lastIncomplete:SOURCE or uuid:KEY (`kova info` lists them)")
        .type("MODE")
        .excludes(newest);
}

void requirePositive(const Option& option) {
    const auto check = [](const std::string& text) {
        const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        const bool isPositive = isNumber && text.find_first_not_of('0') != std::string::npos;
        return isPositive ? std::string() : "'" + text + "' is not a whole number from 1";
    };
    option.check(check);
}

void addWork(const Parser& verb, CommonOptions& options) {
    const Option threads =
        verb.option("--threads", options.threads, "threads to work with, by default all processors");
    requirePositive(threads.type("N"));
    verb.flag("--skip-damaged", options.skipDamaged,
              "leave damaged frames out, and name them; without it the first one is a failure");
}

void addQuiet(const Parser& verb, CommonOptions& options) {
    verb.flag("--quiet", options.quiet,
              "show no progress; none is shown either when standard error is not a terminal");
}

}  // namespace kova_tool
