#include "command_options.h"

namespace kova_tool {

OutputFormat CommonOptions::format() const {
    if (json) {
        return OutputFormat::json;
    }
    return csv ? OutputFormat::csv : OutputFormat::text;
}

void addDirectory(CLI::App& verb, CommonOptions& options) {
    verb.add_option("DIR", options.directory,
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
                    "use a re-calibrated state: off, first[:SOURCE], last[:SOURCE],\n"
                    "lastIncomplete:SOURCE or uuid:KEY (`kova info` lists them)")
        ->type_name("MODE")
        ->excludes(newest);
}

}  // namespace kova_tool
