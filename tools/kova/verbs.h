#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace kova_tool {

// What the verb on the command line does; returns the exit status.
using Action = std::function<int()>;

// Each adds its verb to the command line. Parsing sets the action if the verb was given.
void addInfo(CLI::App& app, Action& action);
void addFrames(CLI::App& app, Action& action);
void addScans(CLI::App& app, Action& action);
void addSpectrum(CLI::App& app, Action& action);
void addMsms(CLI::App& app, Action& action);
void addCheck(CLI::App& app, Action& action);

}  // namespace kova_tool
