#include <algorithm>
#include <set>
#include <utility>

#include "kovarun/pipeline/frame_stream.h"

// Streams in which each group of frames makes rows of its own. Groups come in order, however many threads
// read them, and are cut into batches of the size that was asked for, without copying. Progress and damage
// are reported here, by the thread that asks for batches, and never by those that read ahead. A frame that
// several groups read, as groups of precursors do, is reported as damaged once.
namespace lumo::run {

namespace {

struct GroupRead {
    arrow::RecordBatch rows;
    std::vector<DamagedFrame> damaged;
};

class GroupStream final : public arrow::BatchSource {
public:
    GroupStream(std::shared_ptr<const FrameWork> shared, GroupStreamParts madeOf)
        : work(std::move(shared)),
          parts(std::move(madeOf)),
          tasks(
              work->groups.size(), work->control.limits, [this] { return makeWorker(); },
              [this](std::size_t group) { return parts.expectedBytes(work->groups[group]); }) {}

    const std::vector<arrow::Field>& schema() const override { return parts.fields; }

    std::optional<arrow::RecordBatch> next() override {
        work->run->requireOwnProcess();
        // A group of which all frames are left out has no rows, so one group may not be enough.
        while (given == current.length) {
            if (!nextGroup()) {
                return std::nullopt;
            }
        }
        const std::int64_t count = std::min(work->control.batchSize, current.length - given);
        // The usual case: the group is the batch, and its buffers are not shared with a slice.
        if (count == current.length) {
            return std::exchange(current, {});
        }
        given += count;
        return current.slice(given - count, count);
    }

private:
    // False after the last group. Damage comes before progress, so a caller who ends the call at a progress
    // report has heard of everything up to there.
    bool nextGroup() {
        std::optional<GroupRead> read = tasks.next();
        if (!read) {
            return false;
        }
        for (const DamagedFrame& frame : read->damaged) {
            if (damaged.insert(frame.frame).second) {
                work->control.reportDamage(frame.frame, frame.text.c_str());
            }
        }
        work->control.report(work->groups[done++].end, work->groups.back().end);
        current = std::move(read->rows);
        given = 0;
        return true;
    }

    OrderedTasks<GroupRead>::Worker makeWorker() const {
        return [this, reader = std::shared_ptr<GroupReader>(parts.makeReader())](std::size_t group) {
            const sys::CountedWork counted(work->run->counters());
            GroupRead result;
            result.rows = reader->read(work->groups[group], result.damaged);
            return result;
        };
    }

    const std::shared_ptr<const FrameWork> work;
    const GroupStreamParts parts;
    arrow::RecordBatch current;  // of which the rows before `given` were given
    std::int64_t given = 0;
    std::size_t done = 0;            // groups
    std::set<std::int64_t> damaged;  // frames that the caller was told of
    OrderedTasks<GroupRead> tasks;   // last: its threads use all of the above
};

}  // namespace

std::unique_ptr<arrow::BatchSource> makeGroupStream(std::shared_ptr<const FrameWork> work,
                                                    GroupStreamParts parts) {
    return std::make_unique<GroupStream>(std::move(work), std::move(parts));
}

}  // namespace lumo::run
