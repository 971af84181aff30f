#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "calibration_choice.h"

namespace kova_tool {

enum class OutputFormat { text, csv, json };

// The options that verbs share. They must live as long as the parser.
struct CommonOptions {
    std::string directory;
    bool csv = false;
    bool json = false;
    CalibrationChoice calibration;

    OutputFormat format() const;
};

void addDirectory(CLI::App& verb, CommonOptions& options);
void addJson(CLI::App& verb, CommonOptions& options);
void addCsvAndJson(CLI::App& verb, CommonOptions& options);
void addCalibration(CLI::App& verb, CommonOptions& options);

}  // namespace kova_tool
