#include "check_report.h"
#include "common/progress.h"
#include "failure.h"
#include "frame_checker.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kCheckHelp = {
    R"(Reads every scan of every frame. Damaged frames are reported, and the totals are those of the others.
CRC-32 is taken over what kova_read_scans_internal() returns for the whole scan range of each frame, in
ascending order of frame id: equal sums mean equal peaks, whatever the storage scheme.

Of an analysis without ion mobility it reads the lines and the profile of every spectrum. One CRC-32 is
taken over positions, intensities and, if there are any, widths of each, the other over the profiles.
)",
    R"(  kova check run.d
  kova check run.d --json | jq .crc32_raw
  for d in *.d; do kova check $d > /dev/null || echo $d; done
)",
    "something is damaged, or the analysis cannot be read"};

int runCheck(const CommonOptions& options) {
    const AnalysisFormat format = formatOf(options.directory);
    const OpenAnalysis analysis(options.directory, format);
    const std::unique_ptr<FrameChecker> checker = makeFrameChecker(analysis);
    const std::vector<FrameRow> frames = readFrameTable(analysis.metadata);
    CheckTally tally;
    tally.frames = frames.size();
    kova_tool_common::Progress progress(frames.size(), nounsOf(format).many, options.showsProgress());
    for (const FrameRow& frame : frames) {
        try {
            checker->check(frame, tally);
        } catch (const Failure& failure) {
            tally.badFrames.push_back({frame.id, failure.what()});
        }
        progress.advance();
    }
    progress.finish();
    writeCheckReport(options, format, tally);
    return tally.badFrames.empty() ? kExitOk : kExitFailure;
}

}  // namespace

void addCheck(CLI::App& app, Action& action) {
    Verb<CommonOptions> verb(app, action, "check", "Reads everything and reports damage", kCheckHelp);
    addAnalysis(verb.arguments(), verb.options());
    addJson(verb.arguments(), verb.options());
    addQuiet(verb.arguments(), verb.options());
    verb.runs(runCheck);
}

}  // namespace kova_tool
