#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/interruption.h"
#include "common/progress.h"
#include "kova/cli/command_options.h"
#include "kova/failure.h"
#include "kova/output/message.h"
#include "kova/output/table_writer.h"
#include "kova/run/frame_table.h"
#include "kova/run/physical_units.h"
#include "kova/run/spectrum_reader.h"
#include "kova/run/whole_frame_reader.h"
#include "kova/verbs/verbs.h"

// One row per frame. The metadata are believed where they state all counts, since reading a run takes
// minutes; --read counts in the data instead.
namespace kova_tool {
namespace {

constexpr HelpText kFramesHelp = {
    R"(Scans, peaks and the sum of the measured intensities are those that the metadata state; a frame for
which they do not is read. The ranges are those of the frame's index bins and scans, converted by its
calibrations; they are empty where a frame has none. Of an analysis without ion mobility each spectrum
is read, and its lines and profile points are counted.

CSV and JSON have the same columns for all analyses, the text has those that apply.
)",
    R"(  kova frames run.d
  kova frames run.d --csv | cut -d, -f1,6,7
  kova frames run.d --read          count in the data, whatever the metadata state
)",
    "a frame that has to be read is damaged, or the analysis cannot be read"};

struct FramesOptions : CommonOptions {
    bool read = false;
};

constexpr std::array<Column, 13> kFrameColumns = {{{"id", "id", 6},
                                                   {"time", "time", 10, 3},
                                                   {"polarity", "pol", 3},
                                                   {"ms_level", "ms", 2},
                                                   {"scans", "scans", 5},
                                                   {"peaks", "peaks", 8},
                                                   {"intensity_sum", "intensity", 12},
                                                   {"lines", "lines", 8},
                                                   {"profile_points", "profile", 8},
                                                   {"mz_min", "m/z from", 9, 4},
                                                   {"mz_max", "m/z to", 9, 4},
                                                   {"one_over_k0_min", "1/K0 from", 9, 5},
                                                   {"one_over_k0_max", "1/K0 to", 8, 5}}};

// The columns, without text for those that the other format has.
std::vector<Column> columnsOf(RunKind kind) {
    using Names = std::vector<std::string_view>;
    const Names unused = kind == RunKind::Mobility
                             ? Names{"lines", "profile_points"}
                             : Names{"scans", "peaks", "intensity_sum", "one_over_k0_min", "one_over_k0_max"};
    std::vector<Column> columns(kFrameColumns.begin(), kFrameColumns.end());
    for (Column& column : columns) {
        column.inText = std::ranges::find(unused, column.name) == unused.end();
    }
    return columns;
}

// A value for each end of a range, the smaller one first; none without a calibration.
struct Ends {
    Cell smallest;
    Cell largest;
};

template <class Convert>
Ends convertedEnds(std::uint32_t count, Convert convert) {
    std::array<double, 2> ends = {0.0, static_cast<double>(count) - 1.0};
    if (count == 0 || !convert(ends)) {
        return {};
    }
    return {std::min(ends[0], ends[1]), std::max(ends[0], ends[1])};
}

class FrameLister {
public:
    explicit FrameLister(const FramesOptions& verbOptions)
        : options(verbOptions),
          run(options.directory, options.calibration),
          nouns(nounsOf(run.kind())),
          scans(run),
          spectra(run),
          units(run),
          indexBins(run.indexBins()) {}

    // Frames that cannot be read are reported on standard error and in the exit status.
    int list() {
        OutputBuffer out;
        const std::vector<Column> columns = columnsOf(run.kind());
        TableWriter table(out, options.format(), columns);
        std::vector<FrameRow> frames = readFrameTable(run);
        kova_tool_common::catchInterruptions();
        kova_tool_common::Progress progress(frames.size(), nouns.many, options.showsProgressBesideOutput());
        for (FrameRow& frame : frames) {
            kova_tool_common::stopIfInterrupted();
            complete(frame);
            writeFrame(table, frame);
            progress.advance();
            if (out.closed()) {
                return kExitOk;
            }
        }
        table.end();
        out.flush();
        return status;
    }

private:
    void complete(FrameRow& frame) {
        try {
            if (run.kind() == RunKind::Mobility) {
                countPeaks(frame);
            } else {
                countSpectrum(frame);
            }
        } catch (const Failure& failure) {
            tell(nouns.one + (" " + std::to_string(frame.id)) + ": " + failure.what());
            status = kExitFailure;
        }
    }

    void countPeaks(FrameRow& frame) {
        if (!options.read && frame.scans && frame.peaks && frame.intensitySum) {
            return;
        }
        const FrameRow stated = frame;
        if (options.read) {
            forgetCounts(frame);
        }
        const ScanData data = scans.read(stated);
        frame.scans = data.scans;
        frame.peaks = data.peaks;
        frame.intensitySum = data.intensitySum;
    }

    // The metadata do not state sizes of profiles, so every spectrum is read.
    void countSpectrum(FrameRow& frame) {
        forgetCounts(frame);
        std::optional<std::uint64_t> lines;
        if (run.info().has_lines != 0) {
            lines = spectra.readLines(frame.id).positions.size();
        }
        if (run.info().has_profiles != 0) {
            frame.profilePoints = spectra.readProfile(frame.id).size();
        }
        frame.lines = lines;
    }

    static void forgetCounts(FrameRow& frame) {
        frame.scans.reset();
        frame.peaks.reset();
        frame.intensitySum.reset();
    }

    void writeFrame(TableWriter& table, const FrameRow& frame) {
        const Ends mz = convertedEnds(indexBins, [&](auto& ends) { return units.indexToMz(frame, ends); });
        const Ends mobility = convertedEnds(frame.scans.value_or(0),
                                            [&](auto& ends) { return units.scanToOneOverK0(frame, ends); });
        table.row(std::array<Cell, kFrameColumns.size()>{
            Cell(frame.id), cell(frame.time), cell(frame.polarity), cell(frame.msLevel), cell(frame.scans),
            cell(frame.peaks), cell(frame.intensitySum), cell(frame.lines), cell(frame.profilePoints),
            mz.smallest, mz.largest, mobility.smallest, mobility.largest});
    }

    const FramesOptions& options;
    Run run;
    FrameNouns nouns;
    WholeFrameReader scans;
    SpectrumReader spectra;
    PhysicalUnits units;
    std::uint32_t indexBins;
    int status = kExitOk;
};

}  // namespace

void addFrames(const Parser& app, Action& action) {
    Verb<FramesOptions> verb(app, action, "frames", "Lists the frames of an analysis, one line per frame",
                             kFramesHelp);
    FramesOptions& options = verb.options();
    addAnalysis(verb.arguments(), options);
    addCsvAndJson(verb.arguments(), options);
    addCalibration(verb.arguments(), options);
    verb.arguments().flag("--read", options.read, "read every frame instead of trusting the metadata");
    addQuiet(verb.arguments(), options);
    verb.runs([](const FramesOptions& o) { return FrameLister(o).list(); });
}

}  // namespace kova_tool
