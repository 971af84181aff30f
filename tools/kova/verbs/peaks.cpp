#include <array>

#include "kova/failure.h"
#include "kova/verbs/query_verb.h"
#include "kova/verbs/stream_table.h"
#include "kova/verbs/verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kPeaksHelp = {
    R"(Ranges of values are closed: a peak belongs to them if its own m/z, 1/K0 and time lie between the ends or on
them. Peaks come in the order of frames, scans and indices. Intensities are normalised as the analysis asks
for, unless --raw is given. A query by m/z or 1/K0 fails at a frame without that calibration.
)",
    R"(  kova peaks run.d --mz 622.02:622.04 --k0 0.98:1.02
  kova peaks run.d --time 600:660 --ms-level 1 --csv > peaks.csv
  kova peaks run.d --frame 3 --scans 100:110 --raw
)",
    "the peaks cannot all be read"};

constexpr std::array<StreamColumn, 7> kTableColumns = {{{"frame", {"frame", "frame", 6}},
                                                        {"time", {"time", "time", 10, 3}},
                                                        {"scan", {"scan", "scan", 5}},
                                                        {"tof_index", {"index", "index", 8}},
                                                        {"intensity", {"intensity", "intensity", 10}},
                                                        {"mz", {"mz", "m/z", 11, 5}},
                                                        {"one_over_k0", {"one_over_k0", "1/K0", 7, 5}}}};

constexpr std::uint32_t kStreamColumns = KVR_COLUMN_FRAME | KVR_COLUMN_TIME | KVR_COLUMN_SCAN |
                                         KVR_COLUMN_TOF_INDEX | KVR_COLUMN_INTENSITY | KVR_COLUMN_MZ |
                                         KVR_COLUMN_ONE_OVER_K0;
// The first peaks come soon, and little is read in vain for a reader that goes away.
constexpr std::uint64_t kPeaksPerBatch = std::uint64_t{1} << 16;

int runPeaks(const QueryOptions& options) {
    return answer(
        options, {UsualFrames::All, QueryWork::WhileWriting, kPeaksPerBatch},
        [](kvr_run* run, const kvr_query* query, const kvr_control* control, ArrowArrayStream* filled) {
            return kvr_peaks(run, query, kStreamColumns, control, filled);
        },
        [&](ArrowStream& stream, OutputBuffer& out) {
            writeStream(stream, kTableColumns, options.format(), out);
        });
}

}  // namespace

void addPeaks(const Parser& app, Action& action) {
    Verb<QueryOptions> verb(app, action, "peaks", "Prints the peaks of a run, or of a box in it", kPeaksHelp);
    addAnalysis(verb.arguments(), verb.options());
    addMzRange(verb.arguments(), verb.options());
    addQuery(verb.arguments(), verb.options());
    verb.runs(runPeaks);
}

}  // namespace kova_tool
