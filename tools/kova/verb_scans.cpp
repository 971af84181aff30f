#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "command_options.h"
#include "failure.h"
#include "frame_table.h"
#include "json_object.h"
#include "open_analysis.h"
#include "physical_units.h"
#include "scan_range.h"
#include "scan_reader.h"
#include "table_writer.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kScansHelp = {
    R"(A range a:b means the scans from a up to, not including, b; either end may be left out, and a single
number means one scan. Intensities are normalised as the analysis asks for, unless --raw is given.
The columns m/z and 1/K0 are empty where a frame has no such calibration.
)",
    R"(  kova scans run.d --frame 3
  kova scans run.d --frame 3 --scans 100:110 --csv > peaks.csv
  kova scans run.d --frame 3 --scans 250 --raw
)",
    "the scans cannot be read"};

constexpr std::array<Column, 5> kScanColumns = {{{"scan", "scan", 6},
                                                 {"index", "index", 9},
                                                 {"intensity", "intensity", 10},
                                                 {"mz", "m/z", 12, 5},
                                                 {"one_over_k0", "1/K0", 8, 5}}};

struct ScansOptions : CommonOptions {
    std::int64_t frame = 0;
    std::string scans = ":";
    bool raw = false;
};

using OptionalValues = std::optional<std::vector<double>>;

// The peaks to print, with what the conversions gave: one m/z per peak, one 1/K0 per scan.
struct Peaks {
    ScanData data;
    OptionalValues mz;
    OptionalValues oneOverK0;
};

OptionalValues mzOfPeaks(PhysicalUnits& units, std::int64_t frame, const ScanData& data) {
    std::vector<double> values;
    values.reserve(data.peaks());
    data.forEachScan([&](std::uint32_t, auto indices, auto) {
        values.insert(values.end(), indices.begin(), indices.end());
        return true;
    });
    return units.indexToMz(frame, values) ? OptionalValues(std::move(values)) : std::nullopt;
}

OptionalValues oneOverK0OfScans(PhysicalUnits& units, std::int64_t frame, const ScanData& data) {
    std::vector<double> values(data.peakCounts().size());
    std::iota(values.begin(), values.end(), data.firstScan());
    return units.scanToOneOverK0(frame, values) ? OptionalValues(std::move(values)) : std::nullopt;
}

void writeTable(const Peaks& peaks, OutputFormat format, OutputBuffer& out) {
    TableWriter table(out, format, kScanColumns);
    std::size_t peak = 0;
    peaks.data.forEachScan([&](std::uint32_t scan, auto indices, auto intensities) {
        std::array<Cell, kScanColumns.size()> cells;
        cells[0] = std::uint64_t{scan};
        if (peaks.oneOverK0) {
            cells[4] = (*peaks.oneOverK0)[scan - peaks.data.firstScan()];
        }
        for (std::size_t i = 0; i < indices.size() && !out.closed(); ++i, ++peak) {
            cells[1] = std::uint64_t{indices[i]};
            cells[2] = std::uint64_t{intensities[i]};
            if (peaks.mz) {
                cells[3] = (*peaks.mz)[peak];
            }
            table.row(cells);
        }
        return !out.closed();
    });
    table.end();
}

// Objects with arrays, a third of the size of one object per peak.
void writeJsonScans(const Peaks& peaks, OutputBuffer& out) {
    std::size_t peak = 0;
    std::size_t number = 0;
    peaks.data.forEachScan([&](std::uint32_t scan, auto indices, auto intensities) {
        out << (number == 0 ? "\n " : ",\n ");
        JsonObject object(out);
        object.member("scan", Cell(std::uint64_t{scan}));
        object.member("one_over_k0", peaks.oneOverK0 ? Cell((*peaks.oneOverK0)[number]) : Cell());
        object.array("index", indices);
        object.array("intensity", intensities);
        object.array("mz", peaks.mz ? std::optional(std::span(*peaks.mz).subspan(peak, indices.size()))
                                    : std::nullopt);
        object.end();
        peak += indices.size();
        ++number;
        return !out.closed();
    });
}

void writeJsonDocument(const Peaks& peaks, const ScansOptions& options, OutputBuffer& out) {
    const std::uint64_t first = peaks.data.firstScan();
    JsonObject object(out);
    object.member("frame", Cell(options.frame));
    object.member("scan_begin", Cell(first));
    object.member("scan_end", Cell(first + peaks.data.peakCounts().size()));
    object.member("raw", options.raw);
    object.beginMember("scans");
    out << '[';
    writeJsonScans(peaks, out);
    out << "\n]";
    object.end();
    out << '\n';
}

// A range that begins after the last scan keeps one scan, so that the library says what is wrong.
std::uint32_t lastScanEnd(const OpenAnalysis& analysis, std::int64_t frame, const ScanRange& range,
                          const ScanReader& reader) {
    const std::uint32_t count = reader.scanCount(readFrameRow(analysis.metadata, frame));
    return range.begin == 0 ? count : std::max(count, range.begin + 1);
}

int runScans(const ScansOptions& options) {
    const ScanRange range = parseScanRange(options.scans);
    const OpenAnalysis analysis(options.directory, AnalysisFormat::Mobility, options.calibration);
    ScanReader reader(analysis.handle);
    const std::uint32_t end = range.end ? *range.end : lastScanEnd(analysis, options.frame, range, reader);
    const auto kind = options.raw ? Intensities::Measured : Intensities::Normalised;
    PhysicalUnits units(analysis.handle);
    Peaks peaks;
    peaks.data = reader.read(options.frame, range.begin, end, kind);
    peaks.mz = mzOfPeaks(units, options.frame, peaks.data);
    peaks.oneOverK0 = oneOverK0OfScans(units, options.frame, peaks.data);
    OutputBuffer out;
    if (options.json) {
        writeJsonDocument(peaks, options, out);
    } else {
        writeTable(peaks, options.format(), out);
    }
    out.flush();
    return kExitOk;
}

}  // namespace

void addScans(CLI::App& app, Action& action) {
    Verb<ScansOptions> verb(app, action, "scans", "Prints the peaks of scans of one frame", kScansHelp);
    CLI::App& arguments = verb.arguments();
    ScansOptions& options = verb.options();
    addAnalysis(arguments, options);
    arguments.add_option("--frame", options.frame, "id of the frame")->required()->type_name("ID");
    arguments.add_option("--scans", options.scans, "range of scans, all by default")->type_name("A:B");
    arguments.add_flag("--raw", options.raw, "print intensities as they were measured");
    addCsvAndJson(arguments, options);
    addCalibration(arguments, options);
    verb.runs(runScans);
}

}  // namespace kova_tool
