#include "kova/cli/query_options.h"

#include <algorithm>

#include "kova/cli/ranges.h"
#include "kova/failure.h"
#include "kova/run/frame_table.h"

// From texts on the command line to a kvr_query. Ranges that exclude nothing become null pointers, by which
// the library knows that it needs no calibration.
namespace kova_tool {
namespace {

bool isWhole(const kvr_range& range) {
    return range.low == wholeRange().low && range.high == wholeRange().high;
}

// Where no level is asked for, a verb that sums takes survey frames, and all frames where the metadata do not
// state levels: 0 asks the library for all.
std::uint32_t msLevelOf(const Run& run, const std::string& asked, UsualFrames usual) {
    if (asked == "all" || (asked.empty() && usual == UsualFrames::All)) {
        return 0;
    }
    const std::vector<FrameRow> frames = readFrameTable(run);
    if (std::ranges::any_of(frames, [](const FrameRow& frame) { return frame.msLevel.has_value(); })) {
        return asked == "2" ? 2 : 1;
    }
    if (!asked.empty()) {
        throw Failure("the metadata do not state the MS levels of frames", "--ms-level all takes all frames");
    }
    return 0;
}

}  // namespace

Option addMzRange(const Parser& verb, QueryOptions& options) {
    return verb.option("--mz", options.mz, "range of m/z in Th; either end may be left out").type("A:B");
}

void addQuery(const Parser& verb, QueryOptions& options) {
    verb.option("--k0", options.oneOverK0, "range of 1/K0 in V s / cm^2").type("A:B");
    verb.option("--time", options.time, "range of retention times in s").type("A:B");
    verb.option("--scans", options.scans, "range of scans, the last one not included").type("A:B");
    verb.option("--frame", options.frames, "ids of frames, all by default").type("ID");
    verb.option("--ms-level", options.msLevel, "only frames of this level, or all").oneOf({"1", "2", "all"});
    verb.flag("--raw", options.raw, "intensities as they were measured");
    addCsvAndJson(verb, options);
    addCalibration(verb, options);
    addWork(verb, options);
    addQuiet(verb, options);
}

Query::Query(const QueryOptions& chosen)
    : options(chosen),
      mz(parseValueRange("--mz", options.mz.empty() ? ":" : options.mz)),
      oneOverK0(parseValueRange("--k0", options.oneOverK0)),
      time(parseValueRange("--time", options.time)) {
    const ScanSelection scans = parseScanSelection(options.scans);
    query.size = sizeof query;
    query.frames = options.frames.empty() ? nullptr : options.frames.data();
    query.num_frames = options.frames.size();
    query.time = isWhole(time) ? nullptr : &time;
    query.mz = isWhole(mz) ? nullptr : &mz;
    query.one_over_k0 = isWhole(oneOverK0) ? nullptr : &oneOverK0;
    query.scan_begin = scans.begin;
    query.scan_end = scans.end.value_or(0);
    query.intensities = options.raw ? KVR_INTENSITIES_RAW : KVR_INTENSITIES_NORMALIZED;
}

const kvr_query* Query::forRun(const Run& run, UsualFrames usual) {
    query.ms_level = msLevelOf(run, options.msLevel, options.frames.empty() ? usual : UsualFrames::All);
    return &query;
}

}  // namespace kova_tool
