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

// Intensity over time: a row for each frame, with a value for each target. Frames do not depend on each
// other, so groups of them are tasks, and rows come in the order of the query. A frame outside of a target's
// range of time has the value 0 there, so every row is as long as the list of targets.
//
// Rows of all targets may be large though the frames are small: a group has at most as many frames as a
// sixteenth of the memory budget has room for.
namespace lumo::run {

namespace {

// The rows of a group, for one thread. A frame that fails adds nothing to any column, as its values are
// complete before the first is appended.
template <Reduce kind>
class ChromatogramReader final : public GroupReader {
public:
    ChromatogramReader(const FrameWork& shared, std::span<const Target> wanted)
        : work(shared),
          targets(wanted),
          haveTimes(std::any_of(wanted.begin(), wanted.end(),
                                [](const Target& target) { return !target.time.isWhole(); })),
          source(*shared.run, shared.query),
          values(wanted, shared.control.onDamage) {}

    arrow::RecordBatch read(const FrameGroup& group, std::vector<DamagedFrame>& damaged) override {
        arrow::NumberBuilder<std::int64_t> ids;
        arrow::NumberBuilder<double> times;
        const arrow::Values<std::uint64_t> rows((group.end - group.begin) * targets.size());
        source.announce(std::span(work.query.frames).subspan(group.begin, group.end - group.begin));
        for (std::size_t i = group.begin; i < group.end; ++i) {
            const FrameEntry& frame = work.query.frames[i];
            doOrNote(frame, work.control.onDamage, damaged, [&] {
                writeRow(frame, rows.data.get() + ids.length() * targets.size());
                ids.append(frame.id);
                times.append(std::isnan(frame.time) ? std::nullopt : std::optional(frame.time));
            });
        }
        arrow::RecordBatch batch;
        batch.length = static_cast<std::int64_t>(ids.length());
        const std::size_t length = ids.length();
        batch.columns = {ids.intoColumn(), times.intoColumn(),
                         arrow::fixedSizeLists(length, targets.size(), rows.buffer())};
        return batch;
    }

private:
    void writeRow(const FrameEntry& frame, std::uint64_t* row) {
        const FrameBox& box = source.open(frame);
        const std::span<const std::uint64_t> ofTargets = values.of(source, box);
        std::copy(ofTargets.begin(), ofTargets.end(), row);
        for (std::size_t t = 0; haveTimes && t < targets.size(); ++t) {
            if (!targets[t].time.isWhole() && !targets[t].time.contains(frame.time)) {
                row[t] = 0;
            }
        }
    }

    const FrameWork& work;
    const std::span<const Target> targets;
    const bool haveTimes;  // whether any target has a range of time
    FrameSource source;
    TargetValues<kind> values;
};

}  // namespace

// A row must fit into the memory budget at least; everything else is a matter of how many rows wait.
std::unique_ptr<arrow::BatchSource> makeChromatograms(std::shared_ptr<Run> run, Query query,
                                                      std::vector<Target> targets, Reduce reduce,
                                                      const Control& control) {
    const std::uint64_t bytesPerFrame = 8 * (targets.size() + 2);
    if (bytesPerFrame > control.limits.memoryBudget) {
        LUMO_THROW(std::runtime_error("One frame of the chromatograms needs " +
                                      std::to_string(bytesPerFrame >> 20) +
                                      " MB, which the memory budget does not allow."));
    }
    const std::size_t mostFrames =
        std::max<std::uint64_t>(1, control.limits.memoryBudget / 16 / bytesPerFrame);
    query.wanted = query.wanted | neededFor(targets);
    std::vector<FrameGroup> groups = groupFrames(query.frames, kPeaksPerGroup, mostFrames);
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    const std::string list = "+w:" + std::to_string(targets.size());
    auto wanted = std::make_shared<const std::vector<Target>>(std::move(targets));
    return makeGroupStream(
        work,
        {{{"frame", "l"},
          {"time", "g", arrow::Nulls::Possible},
          {"intensity", list, arrow::Nulls::None, {{"item", "L"}}}},
         [work = work.get(), wanted, reduce] {
             return withReduce(reduce, [&](auto kind) -> std::unique_ptr<GroupReader> {
                 return std::make_unique<ChromatogramReader<decltype(kind)::value>>(*work, *wanted);
             });
         },
         [bytesPerFrame](const FrameGroup& group) { return (group.end - group.begin) * bytesPerFrame; }});
}

}  // namespace lumo::run
