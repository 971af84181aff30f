#include "kovarun/pipeline/frame_tasks.h"

#include <algorithm>

// How frames are put together into tasks. A frame about which the metadata say nothing counts as one of
// middle size; a wrong guess costs time, never correctness.
namespace lumo::run {

std::uint64_t expectedPeaks(const FrameEntry& frame) {
    constexpr std::uint64_t kUnknown = 100'000;
    if (frame.peaks >= 0) {
        return static_cast<std::uint64_t>(frame.peaks);
    }
    // A stored peak takes two bytes and more.
    return frame.storedBytes > 0 ? static_cast<std::uint64_t>(frame.storedBytes) / 2 : kUnknown;
}

std::vector<FrameGroup> groupFrames(const FrameEntries& frames, std::uint64_t peaks, std::size_t most) {
    std::vector<FrameGroup> groups;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::uint64_t expected = expectedPeaks(frames[i]);
        if (groups.empty() || groups.back().expectedPeaks + expected > peaks ||
            i - groups.back().begin == most) {
            groups.push_back({i, i, 0});
        }
        groups.back().end = i + 1;
        groups.back().expectedPeaks += expected;
    }
    return groups;
}

}  // namespace lumo::run
