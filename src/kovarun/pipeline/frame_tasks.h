#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "kovarun/query/query.h"
#include "kovarun/run/control.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// A frame that was left out because it is damaged, with the text of the failure.
struct DamagedFrame {
    std::int64_t frame;
    std::string text;
};

// A task: frames [begin, end) of a query, which one thread reads one after the other.
struct FrameGroup {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::uint64_t expectedPeaks = 0;
};

// About how many peaks a frame has, as far as the metadata tell.
std::uint64_t expectedPeaks(const FrameEntry& frame);

// What makes a task that is worth handing to a thread.
inline constexpr std::uint64_t kPeaksPerGroup = 1 << 18;

// Puts successive frames together while they are expected to have at most `peaks` peaks and are at most
// `most`. So small frames share a task, and a large one is a task by itself.
// No group is empty.
std::vector<FrameGroup> groupFrames(const FrameEntries& frames, std::uint64_t peaks,
                                    std::size_t most = SIZE_MAX);

// Does `work` for a frame. What is wrong with the frame is raised or, where damaged frames are to be left
// out, noted. Only std::runtime_error is the frame's fault: lack of memory, wrong arguments and a database
// that cannot be read end the stream in any case.
template <class Work>
void doOrNote(const FrameEntry& frame, OnDamage onDamage, std::vector<DamagedFrame>& damaged,
              const Work& work) {
    try {
        work();
    } catch (const CppSQLite3Exception&) {
        throw;  // the database fails, not the frame
    } catch (const std::runtime_error& error) {
        if (onDamage == OnDamage::Raise) {
            throw;
        }
        damaged.push_back({frame.id, error.what()});
    }
}

}  // namespace lumo::run
