#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "common/interruption.h"
#include "common/progress.h"
#include "kova/failure.h"
#include "kova/run/spectrum_reader.h"
#include "kova/run/whole_frame_reader.h"
#include "kova/verbs/check_report.h"
#include "kova/verbs/verbs.h"

// Reads everything through the library's public functions, as any program would, so what passes here can be
// read elsewhere. Every frame is tried, however many are damaged.
namespace kova_tool {
namespace {

constexpr HelpText kCheckHelp = {
    R"(Reads every scan of every frame. Damaged frames are reported, and the totals are those of the others. Where
scans are compressed one by one it counts the good scans of a damaged frame.
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

constexpr std::uint32_t kScansOneByOne = 1;  // a storage scheme

using Clock = std::chrono::steady_clock;

// Reads all that a frame holds. What is damaged adds nothing to the tally.
class Checker {
public:
    explicit Checker(const Run& openRun) : run(openRun), scans(run), spectra(run) {}

    void check(const FrameRow& frame, CheckTally& tally) {
        try {
            if (run.kind() == RunKind::Mobility) {
                checkScans(frame, tally);
            } else {
                checkSpectrum(frame.id, tally);
            }
        } catch (const Failure& failure) {
            tally.badFrames.push_back({frame.id, failure.what()});
            if (run.info().storage == kScansOneByOne) {
                countGoodScans(tally.badFrames.back());
            }
        }
    }

private:
    void checkScans(const FrameRow& frame, CheckTally& tally) {
        const Clock::time_point start = Clock::now();
        const ScanData data = scans.read(frame);
        const Clock::duration elapsed = Clock::now() - start;
        if (frame.scans && *frame.scans != data.scans) {
            throw Failure("the data hold " + std::to_string(data.scans) + " scans, but table Frames states " +
                          std::to_string(*frame.scans));
        }
        tally.readTime += elapsed;
        tally.scans += data.scans;
        tally.peaks += data.peaks;
        tally.intensitySum += data.intensitySum;
        tally.addNumbers(data.words, tally.crcRaw);
    }

    void countGoodScans(BadFrame& frame) const {
        try {
            const std::uint32_t count = run.countScans(frame.id);
            frame.goodScans = scans.countGoodScans(frame.id, count);
            frame.scans = count;
        } catch (const Failure&) {
            // Not even the number of scans is known.
        }
    }

    void checkSpectrum(std::int64_t id, CheckTally& tally) {
        // Both are read before either counts.
        const Clock::time_point start = Clock::now();
        LineColumns lines;
        if (run.info().has_lines != 0) {
            lines = spectra.readLines(id);
        }
        const auto profile =
            run.info().has_profiles != 0 ? profiles.readProfile(id) : std::span<const std::uint32_t>();
        tally.readTime += Clock::now() - start;
        tally.lines += lines.positions.size();
        tally.addNumbers(lines.positions, tally.crcLines);
        tally.addNumbers(lines.intensities, tally.crcLines);
        if (lines.widths) {
            tally.addNumbers(*lines.widths, tally.crcLines);
        }
        tally.profilePoints += profile.size();
        tally.profileSum = std::accumulate(profile.begin(), profile.end(), tally.profileSum);
        tally.addNumbers(profile, tally.crcProfiles);
    }

    const Run& run;
    WholeFrameReader scans;
    SpectrumReader spectra;
    SpectrumReader profiles{run};
};

int runCheck(const CommonOptions& options) {
    const Run run(options.directory);
    Checker checker(run);
    const std::vector<FrameRow> frames = readFrameTable(run);
    CheckTally tally;
    tally.frames = frames.size();
    kova_tool_common::catchInterruptions();
    kova_tool_common::Progress progress(frames.size(), nounsOf(run.kind()).many, options.showsProgress());
    for (const FrameRow& frame : frames) {
        kova_tool_common::stopIfInterrupted();
        checker.check(frame, tally);
        progress.advance();
    }
    progress.finish();
    writeCheckReport(options, run.kind(), tally);
    return tally.badFrames.empty() ? kExitOk : kExitFailure;
}

}  // namespace

void addCheck(const Parser& app, Action& action) {
    Verb<CommonOptions> verb(app, action, "check", "Reads everything and reports damage", kCheckHelp);
    addAnalysis(verb.arguments(), verb.options());
    addJson(verb.arguments(), verb.options());
    addQuiet(verb.arguments(), verb.options());
    verb.runs(runCheck);
}

}  // namespace kova_tool
