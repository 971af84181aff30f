#include <memory>

#include "analysis_format.h"
#include "frame_listing.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr const char* kNotes =
    "Scans, peaks and the sum of the measured intensities are those that the metadata state; a frame for\n"
    "which they do not is read. The ranges are those of the frame's index bins and scans, converted by its\n"
    "calibrations; they are empty where a frame has none. Of an analysis without ion mobility each spectrum\n"
    "is read, and its lines and profile points are counted.\n"
    "\n"
    "Examples:\n"
    "  kova frames run.d\n"
    "  kova frames run.d --csv | cut -d, -f1,6,7\n"
    "  kova frames run.d --read          count in the data, whatever the metadata state\n";

int runFrames(const FramesOptions& options) {
    return formatOf(options.directory) == AnalysisFormat::mobility ? listFrames(options)
                                                                   : listSpectra(options);
}

}  // namespace

void addFrames(CLI::App& app, Action& action) {
    CLI::App* verb = app.add_subcommand("frames", "Lists the frames of an analysis, one line per frame");
    verb->footer(kNotes);
    auto options = std::make_shared<FramesOptions>();
    addDirectory(*verb, *options);
    addCsvAndJson(*verb, *options);
    addCalibration(*verb, *options);
    verb->add_flag("--read", options->read, "read every frame instead of trusting the metadata");
    verb->callback([options, &action] { action = [options] { return runFrames(*options); }; });
}

}  // namespace kova_tool
