#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

#include "diag/throw.h"
#include "kovarun/arrow/builders.h"
#include "kovarun/pipeline/frame_stream.h"
#include "kovarun/reductions/reductions.h"
#include "kovarun/reductions/target_values.h"

// Intensity by scan, summed over all frames, for each target. Rows are scans, since all frames have them, and
// 1/K0 is the first frame's. The table grows with the frame that has the most scans, a number from a file, so
// its size is held against the memory budget before memory is taken.
namespace lumo::run {

namespace {

// As the metadata state it, for planning; frames may turn out to have more.
std::uint64_t mostScans(const FrameEntries& frames) {
    std::int64_t most = 1;
    for (const FrameEntry& frame : frames) {
        most = std::max(most, frame.scans);
    }
    return static_cast<std::uint64_t>(most);
}

// Of a scan: its number, 1/K0, and a value per target.
std::uint64_t bytesPerScan(std::size_t targets) { return 16 + 8 * std::uint64_t{targets}; }

// One thread's table. Its scans are as many as the largest frame that it has seen.
template <Reduce kind>
class MobilogramSum final : public Accumulator {
public:
    MobilogramSum(const FrameWork& shared, std::span<const Target> wanted)
        : work(shared), targets(wanted), values(wanted, shared.control.onDamage) {}

    void add(FrameSource& source, const FrameBox& box, const FrameEntry& frame) override {
        grow(source.numberOfScans());
        values.ofScans(source, box, [&](std::uint32_t scan, std::uint32_t target, std::uint64_t value) {
            if (isInTime(targets[target].time, frame.time)) {
                reduceInto<kind>(table[scan * targets.size() + target], value);
            }
        });
    }

    void merge(Accumulator& other) override {
        auto& another = static_cast<MobilogramSum&>(other);
        grow(another.scans);
        for (std::size_t i = 0; i < another.table.size(); ++i) {
            reduceInto<kind>(table[i], another.table[i]);
        }
    }

    arrow::RecordBatch finish() override {
        arrow::NumberBuilder<std::uint32_t> numbers;
        arrow::NumberBuilder<double> mobilities;
        const std::vector<double> known =
            work.query.frames.empty()
                ? std::vector<double>()
                : FrameSource(*work.run, work.query).oneOverK0Of(work.query.frames.front().id, scans);
        for (std::uint32_t scan = 0; scan < scans; ++scan) {
            numbers.append(scan);
            mobilities.append(known.empty() ? std::nullopt : std::optional(known[scan]));
        }
        arrow::RecordBatch batch;
        batch.length = scans;
        batch.columns = {numbers.intoColumn(), mobilities.intoColumn(),
                         arrow::fixedSizeLists(scans, targets.size(), arrow::toBuffer(std::move(table)))};
        return batch;
    }

private:
    static bool isInTime(const Range& range, double time) { return range.isWhole() || range.contains(time); }

    // Scans are the slower dimension of the table, so growing appends rows and moves nothing. Not a
    // std::runtime_error, as those blame the frame, which would then be left out of the sums.
    void grow(std::uint32_t count) {
        if (count <= scans) {
            return;
        }
        const std::uint64_t bytes = count * bytesPerScan(targets.size());
        if (bytes > work.control.limits.memoryBudget) {
            LUMO_THROW(std::logic_error("The mobilograms need " + std::to_string(bytes >> 20) +
                                        " MB, which the memory budget does not allow."));
        }
        table.resize(count * targets.size());
        scans = count;
    }

    const FrameWork& work;
    const std::span<const Target> targets;
    TargetValues<kind> values;
    std::vector<std::uint64_t> table;  // scans x targets
    std::uint32_t scans = 0;
};

}  // namespace

// Each thread has a table of its own, of the size that the metadata announce. Where they announce too little,
// grow() finds out.
std::unique_ptr<arrow::BatchSource> makeMobilograms(std::shared_ptr<Run> run, Query query,
                                                    std::vector<Target> targets, Reduce reduce,
                                                    const Control& control) {
    const std::uint64_t bytes = mostScans(query.frames) * bytesPerScan(targets.size());
    query.wanted = query.wanted | neededFor(targets);
    std::vector<FrameGroup> groups = groupFrames(query.frames, kPeaksPerGroup);
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    const std::string list = "+w:" + std::to_string(targets.size());
    auto wanted = std::make_shared<const std::vector<Target>>(std::move(targets));
    return makeFoldStream(
        work, {{{"scan", "I"},
                {"one_over_k0", "g", arrow::Nulls::Possible},
                {"intensity", list, arrow::Nulls::None, {{"item", "L"}}}},
               [work = work.get(), wanted, reduce] {
                   return withReduce(reduce, [&](auto kind) -> std::unique_ptr<Accumulator> {
                       return std::make_unique<MobilogramSum<decltype(kind)::value>>(*work, *wanted);
                   });
               },
               bytes});
}

}  // namespace lumo::run
