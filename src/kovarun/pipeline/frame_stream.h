#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "kovarun/arrow/stream.h"
#include "kovarun/pipeline/frame_tasks.h"
#include "kovarun/pipeline/ordered_tasks.h"
#include "kovarun/query/frame_source.h"
#include "kovarun/run/control.h"

// The streams that read frames: what they give is either made of each group of frames by itself (peaks,
// chromatograms), or of all frames together (sums, images). Either way threads take groups of frames, and the
// caller's thread tells of progress and damage in the order of the frames.
namespace lumo::run {

// A query and how it is worked on. Lives as long as the stream.
struct FrameWork {
    std::shared_ptr<Run> run;
    Query query;
    Control control;
    std::vector<FrameGroup> groups;
};

// Turns groups of frames into record batches, for one thread.
class GroupReader {
public:
    virtual ~GroupReader() = default;
    virtual arrow::RecordBatch read(const FrameGroup& group, std::vector<DamagedFrame>& damaged) = 0;
};

struct GroupStreamParts {
    std::vector<arrow::Field> fields;
    std::function<std::unique_ptr<GroupReader>()> makeReader;       // called by the thread that uses it
    std::function<std::uint64_t(const FrameGroup&)> expectedBytes;  // of the batch of a group
};

// Batches of groups in order, cut to the size of batches that the caller wants.
std::unique_ptr<arrow::BatchSource> makeGroupStream(std::shared_ptr<const FrameWork> work,
                                                    GroupStreamParts parts);

// Adds frames up, for one thread.
class Accumulator {
public:
    virtual ~Accumulator() = default;
    // Adds the current frame of the source: all of it, or nothing if it fails and damaged frames are to be
    // left out.
    virtual void add(FrameSource& source, const FrameBox& box, const FrameEntry& frame) = 0;
    // Adds what another thread has added up.
    virtual void merge(Accumulator& other) = 0;
    // The result; called on one of them after all were merged into it.
    virtual arrow::RecordBatch finish() = 0;
};

struct FoldStreamParts {
    std::vector<arrow::Field> fields;
    std::function<std::unique_ptr<Accumulator>()> makeAccumulator;  // called by the thread that uses it
    std::uint64_t bytesPerAccumulator = 0;  // so many threads as the memory budget allows
};

// One table of all frames, which are read when it is first asked for.
std::unique_ptr<arrow::BatchSource> makeFoldStream(std::shared_ptr<const FrameWork> work,
                                                   FoldStreamParts parts);

}  // namespace lumo::run
