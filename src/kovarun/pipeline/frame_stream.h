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

// The streams that read frames. What they give is either made of each group of frames by itself (peaks,
// chromatograms), or of all frames together (sums, images). In both cases threads take groups of frames, each
// with a reader of its own, and the caller's thread reports progress and damage in the order of the frames.
namespace lumo::run {

// A query and how it is worked on. All threads read it and none changes it; the stream and what its threads
// use hold it by a shared pointer.
struct FrameWork {
    std::shared_ptr<Run> run;
    Query query;
    Control control;
    std::vector<FrameGroup> groups;
};

// Turns groups of frames into record batches, for one thread. Groups come in ascending order, but not all of
// them. Frames that are left out are added to `damaged`; everything else that is wrong is raised and ends the
// stream.
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

// Batches of groups in the order of the groups, cut to the size of batches that the caller wants.
std::unique_ptr<arrow::BatchSource> makeGroupStream(std::shared_ptr<const FrameWork> work,
                                                    GroupStreamParts parts);

// Adds frames up, for one thread.
class Accumulator {
public:
    virtual ~Accumulator() = default;
    // Adds the current frame of the source: all of it, or nothing if it fails and damaged frames are to be
    // left out.
    virtual void add(FrameSource& source, const FrameBox& box, const FrameEntry& frame) = 0;
    // Adds what another thread has added up. It is of the same type, and is not used afterwards.
    virtual void merge(Accumulator& other) = 0;
    // The result. Called once, on the accumulator that all others were merged into.
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
