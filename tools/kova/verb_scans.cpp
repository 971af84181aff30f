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

#include "analysis_handle.h"
#include "command_options.h"
#include "failure.h"
#include "frame_table.h"
#include "metadata_database.h"
#include "physical_units.h"
#include "scan_range.h"
#include "scan_reader.h"
#include "table_writer.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr const char* kNotes =
    "A range a:b means the scans from a up to, not including, b; either end may be left out, and a single\n"
    "number means one scan. Intensities are normalised as the analysis asks for, unless --raw is given.\n"
    "The columns m/z and 1/K0 are empty where a frame has no such calibration.\n"
    "\n"
    "Examples:\n"
    "  kova scans run.d --frame 3\n"
    "  kova scans run.d --frame 3 --scans 100:110 --csv > peaks.csv\n"
    "  kova scans run.d --frame 3 --scans 250 --raw\n";

constexpr std::array<Column, 5> kColumns = {{{"scan", "scan", 6},
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
    TableWriter table(out, format, kColumns);
    std::size_t peak = 0;
    peaks.data.forEachScan([&](std::uint32_t scan, auto indices, auto intensities) {
        std::array<Cell, kColumns.size()> cells;
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

// One object per scan with arrays, a third of the size of one object per peak.
void writeJsonScans(const Peaks& peaks, OutputBuffer& out) {
    std::size_t peak = 0;
    bool isFirst = true;
    peaks.data.forEachScan([&](std::uint32_t scan, auto indices, auto intensities) {
        out << (isFirst ? "\n" : ",\n") << "{\"scan\":" << NumberText(scan) << ",\"one_over_k0\":";
        if (peaks.oneOverK0) {
            writeJsonNumber(out, (*peaks.oneOverK0)[scan - peaks.data.firstScan()]);
        } else {
            out << "null";
        }
        out << ',';
        writeJsonArray(out, "index", indices);
        out << ',';
        writeJsonArray(out, "intensity", intensities);
        if (peaks.mz) {
            out << ',';
            writeJsonArray(out, "mz", std::span(*peaks.mz).subspan(peak, indices.size()));
        } else {
            out << ",\"mz\":null";
        }
        out << '}';
        peak += indices.size();
        isFirst = false;
        return !out.closed();
    });
}

void writeJsonDocument(const Peaks& peaks, const ScansOptions& options, OutputBuffer& out) {
    const std::size_t end = peaks.data.firstScan() + peaks.data.peakCounts().size();
    out << "{\"frame\":" << NumberText(options.frame)
        << ",\"scan_begin\":" << NumberText(peaks.data.firstScan()) << ",\"scan_end\":" << NumberText(end)
        << ",\"raw\":" << (options.raw ? "true" : "false") << ",\"scans\":[";
    writeJsonScans(peaks, out);
    out << "\n]}\n";
}

// A range that begins behind the last scan keeps one scan, so that the library says what is wrong.
std::uint32_t lastScanEnd(const ScansOptions& options, const ScanRange& range, const ScanReader& reader) {
    const MetadataDatabase database(metadataPath(options.directory, AnalysisFormat::mobility));
    const std::uint32_t count = reader.scanCount(readFrameRow(database, options.frame));
    return range.begin == 0 ? count : std::max(count, range.begin + 1);
}

int runScans(const ScansOptions& options) {
    const ScanRange range = parseScanRange(options.scans);
    const AnalysisHandle analysis(options.directory, AnalysisFormat::mobility, options.calibration);
    ScanReader reader(analysis);
    const std::uint32_t end = range.end ? *range.end : lastScanEnd(options, range, reader);
    const auto kind = options.raw ? Intensities::measured : Intensities::normalised;
    PhysicalUnits units(analysis);
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
    CLI::App* verb = app.add_subcommand("scans", "Prints the peaks of scans of one frame");
    verb->footer(kNotes);
    auto options = std::make_shared<ScansOptions>();
    addDirectory(*verb, *options);
    verb->add_option("--frame", options->frame, "id of the frame")->required()->type_name("N");
    verb->add_option("--scans", options->scans, "range of scans, all by default")->type_name("A:B");
    verb->add_flag("--raw", options->raw, "print intensities as they were measured");
    addCsvAndJson(*verb, *options);
    addCalibration(*verb, *options);
    verb->callback([options, &action] { action = [options] { return runScans(*options); }; });
}

}  // namespace kova_tool
