#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/cli/ranges.h"
#include "kova/failure.h"
#include "kova/output/json_object.h"
#include "kova/output/table_writer.h"
#include "kova/run/physical_units.h"
#include "kova/verbs/verbs.h"

// The peaks of one frame with their units. m/z is converted per peak, 1/K0 per scan.
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

// The peaks of a range of scans of one frame, by ascending scan.
struct ScanPeaks {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    std::vector<std::uint32_t> scans = {};
    std::vector<std::uint32_t> indices = {};
    std::vector<std::uint32_t> intensities = {};
    std::optional<std::vector<double>> mz = {};         // of each peak
    std::optional<std::vector<double>> oneOverK0 = {};  // of each scan of the range
};

template <class Value>
void append(std::vector<Value>& all, std::span<const Value> more) {
    all.insert(all.end(), more.begin(), more.end());
}

void readPeaks(const Run& run, const ScansOptions& options, ScanPeaks& peaks) {
    kvr_query query = {};
    query.size = sizeof query;
    query.frames = &options.frame;
    query.num_frames = 1;
    query.scan_begin = peaks.begin;
    query.scan_end = peaks.end;
    query.intensities = options.raw ? KVR_INTENSITIES_RAW : KVR_INTENSITIES_NORMALIZED;
    constexpr std::uint32_t kScanPeaks = KVR_COLUMN_SCAN | KVR_COLUMN_TOF_INDEX | KVR_COLUMN_INTENSITY;
    ArrowStream stream(
        [&](ArrowArrayStream* filled) { return kvr_peaks(run.get(), &query, kScanPeaks, nullptr, filled); });
    while (stream.next()) {
        append(peaks.scans, stream.column("scan").values<std::uint32_t>());
        append(peaks.indices, stream.column("tof_index").values<std::uint32_t>());
        append(peaks.intensities, stream.column("intensity").values<std::uint32_t>());
    }
}

void addUnits(const Run& run, const FrameRow& frame, ScanPeaks& peaks) {
    PhysicalUnits units(run);
    std::vector<double> mz(peaks.indices.begin(), peaks.indices.end());
    if (units.indexToMz(frame, mz)) {
        peaks.mz = std::move(mz);
    }
    std::vector<double> oneOverK0(peaks.end - peaks.begin);
    std::iota(oneOverK0.begin(), oneOverK0.end(), peaks.begin);
    if (units.scanToOneOverK0(frame, oneOverK0)) {
        peaks.oneOverK0 = std::move(oneOverK0);
    }
}

void writeTable(const ScanPeaks& peaks, OutputFormat format, OutputBuffer& out) {
    TableWriter table(out, format, kScanColumns);
    for (std::size_t i = 0; i < peaks.scans.size() && !out.closed(); ++i) {
        table.row(std::array<Cell, kScanColumns.size()>{
            std::uint64_t{peaks.scans[i]}, std::uint64_t{peaks.indices[i]},
            std::uint64_t{peaks.intensities[i]}, peaks.mz ? Cell((*peaks.mz)[i]) : Cell(),
            peaks.oneOverK0 ? Cell((*peaks.oneOverK0)[peaks.scans[i] - peaks.begin]) : Cell()});
    }
    table.end();
}

// Objects with arrays, a third of the size of one object per peak.
void writeJsonScans(const ScanPeaks& peaks, OutputBuffer& out) {
    std::size_t peak = 0;
    for (std::uint32_t scan = peaks.begin; scan < peaks.end && !out.closed(); ++scan) {
        const auto count =
            static_cast<std::size_t>(std::ranges::upper_bound(peaks.scans, scan) - peaks.scans.begin()) -
            peak;
        const auto part = [&](const auto& values) { return std::span(values).subspan(peak, count); };
        out << (scan == peaks.begin ? "\n " : ",\n ");
        JsonObject object(out);
        object.member("scan", Cell(std::uint64_t{scan}));
        object.member("one_over_k0", peaks.oneOverK0 ? Cell((*peaks.oneOverK0)[scan - peaks.begin]) : Cell());
        object.array("index", part(peaks.indices));
        object.array("intensity", part(peaks.intensities));
        object.array("mz", peaks.mz ? std::optional(part(*peaks.mz)) : std::nullopt);
        object.end();
        peak += count;
    }
}

void writeJsonDocument(const ScanPeaks& peaks, const ScansOptions& options, OutputBuffer& out) {
    JsonObject object(out);
    object.member("frame", Cell(options.frame));
    object.member("scan_begin", Cell(std::uint64_t{peaks.begin}));
    object.member("scan_end", Cell(std::uint64_t{peaks.end}));
    object.member("raw", options.raw);
    object.beginMember("scans");
    out << '[';
    writeJsonScans(peaks, out);
    out << "\n]";
    object.end();
    out << '\n';
}

// A range that the frame does not have is refused. Cut to what is there, it would look like scans without
// peaks.
ScanPeaks scansOf(const Run& run, std::int64_t frame, const ScanSelection& range) {
    const std::uint32_t count = run.countScans(frame);
    if (range.end.value_or(0) > count || (range.begin >= count && range.begin != 0)) {
        throw Failure("frame " + std::to_string(frame) + " has " +
                      (count == 0 ? std::string("no scans") : "scans 0 to " + std::to_string(count - 1)));
    }
    return {range.begin, range.end.value_or(count)};
}

int runScans(const ScansOptions& options) {
    const ScanSelection range = parseScanSelection(options.scans);
    const Run run(options.directory, options.calibration, RunKind::Mobility);
    ScanPeaks peaks = scansOf(run, options.frame, range);
    if (peaks.begin < peaks.end) {
        const std::vector<FrameRow> frames = readFrameTable(run);
        const FrameRow* const frame = findFrame(frames, options.frame);
        readPeaks(run, options, peaks);
        addUnits(run, frame == nullptr ? FrameRow{options.frame} : *frame, peaks);
    }
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

void addScans(const Parser& app, Action& action) {
    Verb<ScansOptions> verb(app, action, "scans", "Prints the peaks of scans of one frame", kScansHelp);
    const Parser& arguments = verb.arguments();
    ScansOptions& options = verb.options();
    addAnalysis(arguments, options);
    arguments.option("--frame", options.frame, "id of the frame").required().type("ID");
    arguments.option("--scans", options.scans, "range of scans, all by default").type("A:B");
    arguments.flag("--raw", options.raw, "print intensities as they were measured");
    addCsvAndJson(arguments, options);
    addCalibration(arguments, options);
    verb.runs(runScans);
}

}  // namespace kova_tool
