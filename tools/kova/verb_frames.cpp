#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "analysis_handle.h"
#include "command_options.h"
#include "failure.h"
#include "frame_table.h"
#include "metadata_database.h"
#include "physical_units.h"
#include "scan_reader.h"
#include "table_writer.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr const char* kNotes =
    "Scans, peaks and the sum of the measured intensities are those that the metadata state; a frame for\n"
    "which they do not is read. The ranges are those of the frame's index bins and scans, converted by its\n"
    "calibrations; they are empty where a frame has none.\n"
    "\n"
    "Examples:\n"
    "  kova frames run.d\n"
    "  kova frames run.d --csv | cut -d, -f1,6,7\n"
    "  kova frames run.d --read          count in the data, whatever the metadata state\n";

constexpr std::array<Column, 11> kColumns = {{{"id", "id", 6},
                                              {"time", "time", 10, 3},
                                              {"polarity", "pol", 3},
                                              {"ms_level", "ms", 2},
                                              {"scans", "scans", 5},
                                              {"peaks", "peaks", 8},
                                              {"intensity_sum", "intensity", 12},
                                              {"mz_min", "m/z from", 9, 4},
                                              {"mz_max", "m/z to", 9, 4},
                                              {"one_over_k0_min", "1/K0 from", 9, 5},
                                              {"one_over_k0_max", "1/K0 to", 8, 5}}};

struct FramesOptions : CommonOptions {
    bool read = false;
};

using Range = std::optional<std::pair<double, double>>;

// Smallest and largest value that a conversion gives for the two ends of a range.
template <class Convert>
Range convertedRange(double first, double last, Convert convert) {
    std::vector<double> ends = {first, last};
    if (!convert(ends)) {
        return std::nullopt;
    }
    return std::minmax(ends[0], ends[1]);
}

class FrameLister {
public:
    explicit FrameLister(const FramesOptions& verbOptions)
        : options(verbOptions),
          analysis(options.directory, options.recalibrated),
          database(metadataPath(options.directory)),
          reader(analysis),
          units(analysis),
          indexBins(database.indexBins()) {}

    int run() {
        OutputBuffer out;
        TableWriter table(out, options.format(), kColumns);
        int status = kExitOk;
        for (FrameRow& frame : readFrameTable(database)) {
            if (!complete(frame)) {
                status = kExitFailure;
            }
            writeFrame(table, frame);
            if (out.closed()) {
                return kExitOk;
            }
        }
        table.end();
        out.flush();
        return status;
    }

private:
    // Fills in what the metadata leave open. false: the frame cannot be read, which is told on standard
    // error.
    bool complete(FrameRow& frame) {
        if (!options.read && frame.scans && frame.peaks && frame.intensitySum) {
            return true;
        }
        try {
            frame.scans = options.read ? reader.findScanCount(frame.id) : reader.scanCount(frame);
            const ScanData data = reader.read(frame.id, 0, *frame.scans, Intensities::measured);
            frame.peaks = data.peaks();
            frame.intensitySum = data.intensitySum();
            return true;
        } catch (const Failure& failure) {
            std::fprintf(stderr, "kova: frame %lld: %s\n", static_cast<long long>(frame.id), failure.what());
            if (options.read) {
                frame.scans.reset();
                frame.peaks.reset();
                frame.intensitySum.reset();
            }
            return false;
        }
    }

    void writeFrame(TableWriter& table, const FrameRow& frame) {
        const Range mz = mzRange(frame);
        const Range mobility = mobilityRange(frame);
        const auto first = [](const Range& range) { return range ? Cell(range->first) : Cell(); };
        const auto second = [](const Range& range) { return range ? Cell(range->second) : Cell(); };
        const auto level = frame.msLevel ? Cell(std::int64_t{*frame.msLevel}) : Cell();
        table.row(std::array<Cell, kColumns.size()>{
            Cell(frame.id), cell(frame.time), textCell(frame.polarity), level, countCell(frame.scans),
            countCell(frame.peaks), countCell(frame.intensitySum), first(mz), second(mz), first(mobility),
            second(mobility)});
    }

    static Cell textCell(const std::optional<std::string>& text) {
        return text ? Cell(std::string_view(*text)) : Cell();
    }

    template <class Unsigned>
    static Cell countCell(const std::optional<Unsigned>& count) {
        return count ? Cell(std::uint64_t{*count}) : Cell();
    }

    Range mzRange(const FrameRow& frame) {
        if (indexBins == 0) {
            return std::nullopt;
        }
        return convertedRange(0, indexBins - 1, [&](auto& ends) { return units.indexToMz(frame.id, ends); });
    }

    Range mobilityRange(const FrameRow& frame) {
        if (frame.scans.value_or(0) == 0) {
            return std::nullopt;
        }
        return convertedRange(0, *frame.scans - 1,
                              [&](auto& ends) { return units.scanToOneOverK0(frame.id, ends); });
    }

    const FramesOptions& options;
    AnalysisHandle analysis;
    MetadataDatabase database;
    ScanReader reader;
    PhysicalUnits units;
    std::uint32_t indexBins;
};

}  // namespace

void addFrames(CLI::App& app, Action& action) {
    CLI::App* verb = app.add_subcommand("frames", "Lists the frames of an analysis, one line per frame");
    verb->footer(kNotes);
    auto options = std::make_shared<FramesOptions>();
    addDirectory(*verb, *options);
    addCsvAndJson(*verb, *options);
    addRecalibrated(*verb, *options);
    verb->add_flag("--read", options->read, "read every frame instead of trusting the metadata");
    verb->callback([options, &action] { action = [options] { return FrameLister(*options).run(); }; });
}

}  // namespace kova_tool
