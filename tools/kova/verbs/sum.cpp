#include <array>

#include "kova/failure.h"
#include "kova/verbs/query_verb.h"
#include "kova/verbs/stream_table.h"
#include "kova/verbs/verbs.h"

namespace kova_tool {
namespace {

constexpr HelpText kSumHelp = {
    R"(Sums the intensities of all peaks over frames and scans: one line per index at which there is a peak, with
the number of peaks that were added up there. Without --ms-level and --frame it takes the MS1 frames, and all
frames where the metadata do not tell them apart. Index and m/z are those of the first frame; a peak of a
frame with another calibration is counted at the index that is nearest to its m/z there.
)",
    R"(  kova sum run.d --csv > spectrum.csv
  kova sum run.d --time 600:660 --k0 0.9:1.1 --mz 400:1200
)",
    "the frames cannot all be read"};

constexpr std::array<StreamColumn, 4> kSumColumns = {{{"tof_index", {"index", "index", 9}},
                                                      {"mz", {"mz", "m/z", 12, 5}},
                                                      {"intensity", {"intensity", "intensity", 14}},
                                                      {"count", {"count", "count", 9}}}};

int runSum(const QueryOptions& options) {
    return answer(options, {UsualFrames::Survey, QueryWork::BeforeWriting}, kvr_summed_spectrum,
                  [&](ArrowStream& stream, OutputBuffer& out) {
                      writeStream(stream, kSumColumns, options.format(), out);
                  });
}

}  // namespace

void addSum(const Parser& app, Action& action) {
    Verb<QueryOptions> verb(app, action, "sum", "Sums up the spectrum of a run, or of a box in it", kSumHelp);
    addAnalysis(verb.arguments(), verb.options());
    addMzRange(verb.arguments(), verb.options());
    addQuery(verb.arguments(), verb.options());
    verb.runs(runSum);
}

}  // namespace kova_tool
