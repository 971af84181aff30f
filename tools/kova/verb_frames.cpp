#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "command_options.h"
#include "common/progress.h"
#include "failure.h"
#include "frame_counter.h"
#include "frame_table.h"
#include "message.h"
#include "open_analysis.h"
#include "physical_units.h"
#include "table_writer.h"
#include "verbs.h"

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
std::vector<Column> columnsOf(AnalysisFormat format) {
    using Names = std::vector<std::string_view>;
    const Names unused = format == AnalysisFormat::Mobility
                             ? Names{"lines", "profile_points"}
                             : Names{"scans", "peaks", "intensity_sum", "one_over_k0_min", "one_over_k0_max"};
    std::vector<Column> columns(kFrameColumns.begin(), kFrameColumns.end());
    for (Column& column : columns) {
        column.inText = std::ranges::find(unused, column.name) == unused.end();
    }
    return columns;
}

using Range = std::optional<std::pair<double, double>>;

// Smallest and largest value that a conversion gives for the numbers below a count.
template <class Convert>
Range convertedRange(std::uint32_t count, Convert convert) {
    std::vector<double> ends = {0.0, static_cast<double>(count) - 1.0};
    if (count == 0 || !convert(ends)) {
        return std::nullopt;
    }
    return std::minmax(ends[0], ends[1]);
}

Cell smallestCell(const Range& range) { return range ? Cell(range->first) : Cell(); }
Cell largestCell(const Range& range) { return range ? Cell(range->second) : Cell(); }

class FrameLister {
public:
    FrameLister(const FramesOptions& verbOptions, AnalysisFormat analysisFormat)
        : options(verbOptions),
          format(analysisFormat),
          analysis(options.directory, format, options.calibration),
          counter(makeFrameCounter(analysis,
                                   options.read ? CountedFrom::DataOnly : CountedFrom::MetadataAndData)),
          units(analysis.handle),
          indexBins(analysis.metadata.indexBins(format)) {}

    // Frames that cannot be read are told on standard error and in the exit status.
    int run() {
        OutputBuffer out;
        const std::vector<Column> columns = columnsOf(format);
        TableWriter table(out, options.format(), columns);
        std::vector<FrameRow> frames = readFrameTable(analysis.metadata);
        kova_tool_common::Progress progress(frames.size(), nounsOf(format).many,
                                            options.showsProgressBesideOutput());
        for (FrameRow& frame : frames) {
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
            counter->count(frame);
        } catch (const Failure& failure) {
            tell(nounsOf(format).one + (" " + std::to_string(frame.id)) + ": " + failure.what());
            status = kExitFailure;
        }
    }

    void writeFrame(TableWriter& table, const FrameRow& frame) {
        const Range mz =
            convertedRange(indexBins, [&](auto& ends) { return units.indexToMz(frame.id, ends); });
        const Range mobility = convertedRange(
            frame.scans.value_or(0), [&](auto& ends) { return units.scanToOneOverK0(frame.id, ends); });
        table.row(std::array<Cell, kFrameColumns.size()>{
            Cell(frame.id), cell(frame.time), cell(frame.polarity), cell(frame.msLevel), cell(frame.scans),
            cell(frame.peaks), cell(frame.intensitySum), cell(frame.lines), cell(frame.profilePoints),
            smallestCell(mz), largestCell(mz), smallestCell(mobility), largestCell(mobility)});
    }

    const FramesOptions& options;
    AnalysisFormat format;
    OpenAnalysis analysis;
    std::unique_ptr<FrameCounter> counter;
    PhysicalUnits units;
    std::uint32_t indexBins;
    int status = kExitOk;
};

}  // namespace

void addFrames(CLI::App& app, Action& action) {
    Verb<FramesOptions> verb(app, action, "frames", "Lists the frames of an analysis, one line per frame",
                             kFramesHelp);
    FramesOptions& options = verb.options();
    addAnalysis(verb.arguments(), options);
    addCsvAndJson(verb.arguments(), options);
    addCalibration(verb.arguments(), options);
    verb.arguments().add_flag("--read", options.read, "read every frame instead of trusting the metadata");
    addQuiet(verb.arguments(), options);
    verb.runs([](const FramesOptions& o) { return FrameLister(o, formatOf(o.directory)).run(); });
}

}  // namespace kova_tool
