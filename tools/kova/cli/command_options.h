#pragma once

#include <cstdint>
#include <string>

#include "common/command_line.h"
#include "kova/output/output_format.h"
#include "kova/run/long_call.h"
#include "kova/run/run.h"

namespace kova_tool {

using kova_tool_common::Option;
using kova_tool_common::Parser;

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

void addAnalysis(const Parser& verb, CommonOptions& options);
void addJson(const Parser& verb, CommonOptions& options);
void addCsvAndJson(const Parser& verb, CommonOptions& options);
void addCalibration(const Parser& verb, CommonOptions& options);
void addQuiet(const Parser& verb, CommonOptions& options);
// --threads and --skip-damaged.
void addWork(const Parser& verb, CommonOptions& options);
// Whole numbers from 1, in text that the parser converts.
void requirePositive(const Option& option);

}  // namespace kova_tool
