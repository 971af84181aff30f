#include <memory>

#include "analysis_format.h"
#include "check_report.h"
#include "command_options.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr const char* kNotes =
    "Reads every scan of every frame. Damaged frames are reported, and the totals are those of the others.\n"
    "CRC-32 is taken over what kova_read_scans_internal() returns for the whole scan range of each frame, "
    "in\n"
    "ascending order of frame id: equal sums mean equal peaks, whatever the storage scheme.\n"
    "Of an analysis without ion mobility it reads the lines and the profile of every spectrum. One CRC-32 "
    "is\n"
    "taken over positions, intensities and, if there are any, widths of each, the other over the profiles.\n"
    "\n"
    "Exit status: 0 all is well, 1 something is damaged, 2 wrong usage.\n"
    "\n"
    "Examples:\n"
    "  kova check run.d\n"
    "  kova check run.d --json | jq .crc32_raw\n"
    "  for d in *.d; do kova check $d > /dev/null || echo $d; done\n";

int runCheck(const CommonOptions& options) {
    return formatOf(options.directory) == AnalysisFormat::mobility ? checkFrames(options)
                                                                   : checkSpectra(options);
}

}  // namespace

void addCheck(CLI::App& app, Action& action) {
    CLI::App* verb = app.add_subcommand("check", "Reads everything and reports damage");
    verb->footer(kNotes);
    auto options = std::make_shared<CommonOptions>();
    addDirectory(*verb, *options);
    addJson(*verb, *options);
    verb->callback([options, &action] { action = [options] { return runCheck(*options); }; });
}

}  // namespace kova_tool
