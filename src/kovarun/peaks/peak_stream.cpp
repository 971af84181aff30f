#include "kovarun/peaks/peak_stream.h"

#include <algorithm>
#include <utility>

#include "kovarun/peaks/peak_columns.h"
#include "kovarun/pipeline/frame_stream.h"

// The stream of peaks: groups of frames are tasks, each with columns of its own. Frames are put together as
// long as they are expected to fit into one batch of the caller's, so most groups are given out as they are,
// without a cut.
namespace lumo::run {

namespace {

constexpr std::uint64_t kBytesPerPeak = 48;  // of all columns, rounded up

class PeakGroupReader final : public GroupReader {
public:
    PeakGroupReader(const FrameWork& shared, std::uint32_t columns)
        : work(shared), wanted(columns), source(*shared.run, shared.query) {}

    arrow::RecordBatch read(const FrameGroup& group, std::vector<DamagedFrame>& damaged) override {
        // What the metadata claim is believed as far as a group of several frames goes.
        PeakColumns columns(wanted, std::min(group.expectedPeaks, kPeaksPerGroup));
        source.announce(std::span(work.query.frames).subspan(group.begin, group.end - group.begin));
        for (std::size_t i = group.begin; i < group.end; ++i) {
            const FrameEntry& frame = work.query.frames[i];
            doOrNote(frame, work.control.onDamage, damaged,
                     [&] { columns.append(source, source.open(frame), frame); });
        }
        return columns.toBatch();
    }

private:
    const FrameWork& work;
    const std::uint32_t wanted;
    FrameSource source;
};

}  // namespace

std::unique_ptr<arrow::BatchSource> makePeakStream(std::shared_ptr<Run> run, Query query,
                                                   std::uint32_t columns, const Control& control) {
    const std::uint64_t perGroup =
        std::min<std::uint64_t>(kPeaksPerGroup, static_cast<std::uint64_t>(control.batchSize));
    std::vector<FrameGroup> groups = groupFrames(query.frames, perGroup);
    query.wanted = query.wanted | Calibrations{.masses = (columns & KVR_COLUMN_MZ) != 0,
                                               .mobilities = (columns & KVR_COLUMN_ONE_OVER_K0) != 0};
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    return makeGroupStream(
        work, {PeakColumns::schema(columns),
               [work = work.get(), columns] { return std::make_unique<PeakGroupReader>(*work, columns); },
               [](const FrameGroup& group) { return group.expectedPeaks * kBytesPerPeak; }});
}

}  // namespace lumo::run
