#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kova/output/output_format.h"
#include "kova/run/long_call.h"
#include "kova/run/run.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kova_tool {

// The values of the options that verbs share, after parsing; which of them a verb has is decided by the
// functions below. They must live as long as the parser, which keeps their addresses.
struct CommonOptions {
    std::string directory;
    bool csv = false;
    bool json = false;
    bool quiet = false;
    std::uint32_t threads = 0;
    bool skipDamaged = false;
    CalibrationChoice calibration;

    OutputFormat format() const;

    bool showsProgress() const { return !quiet; }
    // Not where a list goes to the same terminal: the bar would stand in the middle of it.
    bool showsProgressBesideOutput() const;
    WorkSetting work(bool withProgress) const { return {threads, skipDamaged, withProgress}; }
};

void addAnalysis(CLI::App& verb, CommonOptions& options);
void addJson(CLI::App& verb, CommonOptions& options);
void addCsvAndJson(CLI::App& verb, CommonOptions& options);
void addCalibration(CLI::App& verb, CommonOptions& options);
// Takes nothing but these words, which the help shows as {a,b,c}.
void restrictTo(CLI::Option& option, const std::vector<std::string>& words);
void addQuiet(CLI::App& verb, CommonOptions& options);
// --threads and --skip-damaged.
void addWork(CLI::App& verb, CommonOptions& options);
// Whole numbers from 1, in text that the parser converts.
void requirePositive(CLI::Option& option);

}  // namespace kova_tool
