#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/number_input.h"
#include "kova/failure.h"
#include "kova/output/json_object.h"
#include "kova/output/table_writer.h"
#include "kova/run/run.h"
#include "kova/verbs/conversion.h"
#include "kova/verbs/verbs.h"

// Values from one unit to another, all of them at a time. Units and options are checked first, then the
// analysis is opened, and only then is standard input read: a mistake is reported before anybody has typed or
// piped a value.
namespace kova_tool {
namespace {

constexpr HelpText kConvertHelp = {
    R"(The units have the names of columns in the tables of other verbs: index (of the time of flight, counted
from 0) and mz (Th); scan (number of the mobility scan, counted from 0), voltage (V, of the ramp),
one_over_k0 (1/K0 in V s / cm^2, also called mobility) and ccs (collisional cross section in nitrogen, in
square angstrom). Units of mass convert into each other, and so do those of mobility. From and to ccs it
takes --charge and --mz of the ion. Between one_over_k0 and ccs the frame does not matter.

Values may be fractional and lie outside of the calibrated range. Without values on the command line they
are read from standard input, with blanks or line ends between them.
)",
    R"(  kova convert run.d --frame 1 --from index --to mz 100000 250000.5
  kova convert run.d --frame 1 --from scan --to mobility --recalibrated 0 450 899
  kova convert run.d --frame 1 --from scan --to ccs --charge 2 --mz 622.29 450
  seq 0 100 900 | kova convert run.d --frame 1 --from scan --to voltage --csv
)",
    "the values cannot be converted, or standard input holds what is not a number"};

struct ConvertOptions : CommonOptions {
    ConversionSetting setting;
    std::string from;
    std::string to;
    std::vector<std::string> values;
};

struct Converted {
    std::vector<double> before;
    std::vector<double> after;
};

void writeTable(const ConversionPath& path, const Converted& values, OutputFormat format, OutputBuffer& out) {
    const std::array columns = {path.from(), path.to()};
    TableWriter table(out, format, columns);
    for (std::size_t i = 0; i < values.before.size() && !out.closed(); ++i) {
        table.row(std::array<Cell, 2>{values.before[i], values.after[i]});
    }
    table.end();
}

void writeJson(const ConversionPath& path, const Converted& values, const ConversionSetting& setting,
               OutputBuffer& out) {
    JsonObject object(out);
    object.member("frame", cell(setting.frame));
    object.member("from", Cell(path.from().name));
    object.member("to", Cell(path.to().name));
    object.member("charge", cell(setting.charge));
    object.member("mz", cell(setting.mz));
    object.breakLine();
    object.array("input", values.before);
    object.breakLine();
    object.array("output", values.after);
    object.end();
    out << '\n';
}

int runConvert(const ConvertOptions& options) {
    const ConversionPath path(options.from, options.to, options.setting);
    const std::vector<double> given = numbersOf(options.values);
    const Run run(options.directory, options.calibration);
    Converted values;
    values.before = given.empty() ? readNumbers() : given;
    values.after = values.before;
    path.convert(run, values.after);
    OutputBuffer out;
    if (options.json) {
        writeJson(path, values, options.setting, out);
    } else {
        writeTable(path, values, options.format(), out);
    }
    out.flush();
    return kExitOk;
}

}  // namespace

void addConvert(const Parser& app, Action& action) {
    Verb<ConvertOptions> verb(app, action, "convert", "Converts values by the calibrations of a frame",
                              kConvertHelp);
    const Parser& arguments = verb.arguments();
    ConvertOptions& options = verb.options();
    addAnalysis(arguments, options);
    arguments.option("VALUE", options.values, "values to convert, from standard input by default").type("");
    arguments.option("--frame", options.setting.frame, "id of the frame").type("ID");
    for (const auto& [name, unit, text] : {std::tuple("--from", &options.from, "unit of the values"),
                                           std::tuple("--to", &options.to, "unit to convert to")}) {
        arguments.option(name, *unit, text).required().oneOf(unitNames());
    }
    arguments.option("--charge", options.setting.charge, "charge of the ion, with its sign").type("Z");
    const auto setMz = [&options](const std::string& text) {
        options.setting.mz = numbersOf({&text, 1}).front();
    };
    arguments.function("--mz", setMz, "m/z of the ion").type("MZ");
    addCsvAndJson(arguments, options);
    addCalibration(arguments, options);
    verb.runs(runConvert);
}

}  // namespace kova_tool
