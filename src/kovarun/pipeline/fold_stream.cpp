#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "diag/throw.h"
#include "kovarun/pipeline/frame_stream.h"

// Streams of one result that all frames make together. Each thread adds the frames of its groups to a sum of
// its own; when all are read, the sums are merged. They are integers, so the result does not depend on which
// thread read which group, nor on the number of threads. No more threads work than the memory budget has room
// for sums.
namespace lumo::run {

namespace {

using GroupDamage = std::vector<DamagedFrame>;

class FoldStream final : public arrow::BatchSource {
public:
    FoldStream(std::shared_ptr<const FrameWork> shared, FoldStreamParts madeOf)
        : work(std::move(shared)), parts(std::move(madeOf)) {}

    const std::vector<arrow::Field>& schema() const override { return parts.fields; }

    std::optional<arrow::RecordBatch> next() override {
        if (!isRead) {
            work->run->requireOwnProcess();
            result = readAll();
            isRead = true;
        }
        if (given == result.length) {
            return std::nullopt;
        }
        const std::int64_t count = std::min(work->control.batchSize, result.length - given);
        given += count;
        return result.slice(given - count, count);
    }

private:
    // What one thread works with.
    struct Share {
        FrameSource source;
        Accumulator& sum;
    };

    // Merging takes no lock. A thread enters its sum before its first task ends, and here all tasks have
    // ended; a thread that got no task has no sum. Each sum is freed as soon as it was merged, as images may
    // be hundreds of megabytes.
    arrow::RecordBatch readAll() {
        std::size_t done = 0;
        OrderedTasks<GroupDamage> tasks(
            work->groups.size(), affordableThreads(), [this] { return makeWorker(); },
            // A task's result is the damage that it met; what it has read is in the sums.
            [](std::size_t) { return std::uint64_t{0}; });
        while (const std::optional<GroupDamage> damaged = tasks.next()) {
            for (const DamagedFrame& frame : *damaged) {
                work->control.reportDamage(frame.frame, frame.text.c_str());
            }
            work->control.report(work->groups[done++].end, work->groups.back().end);
        }
        if (sums.empty()) {
            sums.push_back(parts.makeAccumulator());
        }
        for (std::size_t i = 1; i < sums.size(); ++i) {
            sums.front()->merge(*sums[i]);
            sums[i].reset();
        }
        arrow::RecordBatch rows = sums.front()->finish();
        sums.clear();
        return rows;
    }

    // One sum must fit at least. More threads than sums that fit would make the result larger than the budget
    // while it is being made.
    TaskLimits affordableThreads() const {
        const std::uint64_t affordable =
            work->control.limits.memoryBudget / std::max<std::uint64_t>(1, parts.bytesPerAccumulator);
        if (affordable == 0) {
            LUMO_THROW(std::runtime_error("The result needs " +
                                          std::to_string(parts.bytesPerAccumulator >> 20) +
                                          " MB, which the memory budget does not allow."));
        }
        return {static_cast<unsigned>(std::min<std::uint64_t>(work->control.limits.threads, affordable)),
                work->control.limits.memoryBudget};
    }

    OrderedTasks<GroupDamage>::Worker makeWorker() {
        // The reader first: a thread that cannot open one tries again with each task, and must leave nothing
        // behind.
        FrameSource source(*work->run, work->query);
        std::unique_ptr<Accumulator> made = parts.makeAccumulator();
        auto share = std::make_shared<Share>(Share{std::move(source), *made});
        {
            const std::lock_guard lock(mutex);
            sums.push_back(std::move(made));
        }
        return [this, share](std::size_t group) { return add(*share, work->groups[group]); };
    }

    GroupDamage add(Share& share, const FrameGroup& group) const {
        const sys::CountedWork counted(work->run->counters());
        GroupDamage damaged;
        share.source.announce(std::span(work->query.frames).subspan(group.begin, group.end - group.begin));
        for (std::size_t i = group.begin; i < group.end; ++i) {
            const FrameEntry& frame = work->query.frames[i];
            doOrNote(frame, work->control.onDamage, damaged,
                     [&] { share.sum.add(share.source, share.source.open(frame), frame); });
        }
        return damaged;
    }

    const std::shared_ptr<const FrameWork> work;
    const FoldStreamParts parts;
    std::mutex mutex;
    std::vector<std::unique_ptr<Accumulator>> sums;  // one per thread
    arrow::RecordBatch result;
    std::int64_t given = 0;
    bool isRead = false;
};

}  // namespace

std::unique_ptr<arrow::BatchSource> makeFoldStream(std::shared_ptr<const FrameWork> work,
                                                   FoldStreamParts parts) {
    return std::make_unique<FoldStream>(std::move(work), std::move(parts));
}

}  // namespace lumo::run
