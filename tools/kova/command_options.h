#pragma once

#include <string>
#include <vector>

#include "calibration_choice.h"
#include "output_format.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kova_tool {

// The options that verbs share. They must live as long as the parser.
struct CommonOptions {
    std::string directory;
    bool csv = false;
    bool json = false;
    bool quiet = false;
    CalibrationChoice calibration;

    OutputFormat format() const;

    bool showsProgress() const { return !quiet; }
    // A bar would stand in the middle of a list that goes to the same terminal.
    bool showsProgressBesideOutput() const;
};

void addAnalysis(CLI::App& verb, CommonOptions& options);
void addJson(CLI::App& verb, CommonOptions& options);
void addCsvAndJson(CLI::App& verb, CommonOptions& options);
void addCalibration(CLI::App& verb, CommonOptions& options);
// Takes nothing but these words, which the help shows as {a,b,c}.
void restrictTo(CLI::Option& option, const std::vector<std::string>& words);
void addQuiet(CLI::App& verb, CommonOptions& options);

}  // namespace kova_tool
