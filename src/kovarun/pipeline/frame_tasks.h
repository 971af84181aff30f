#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "kovarun/query/query.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// A frame that was left out because it is damaged.
struct DamagedFrame {
    std::int64_t frame;
    std::string text;
};

// Frames [begin, end) of a query, which are read by one task.
struct FrameGroup {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::uint64_t expectedPeaks = 0;
};

// About how many peaks a frame has, as far as the metadata tell.
std::uint64_t expectedPeaks(const FrameEntry& frame);

// Successive frames, together as long as they are expected to have no more than `peaks` peaks and are no more
// than `most`.
std::vector<FrameGroup> groupFrames(const FrameEntries& frames, std::uint64_t peaks,
                                    std::size_t most = SIZE_MAX);

// Does `work` for a frame. What is wrong with the frame is raised, or, where damaged frames are to be left
// out, noted.
template <class Work>
void doOrNote(const FrameEntry& frame, bool skipsDamaged, std::vector<DamagedFrame>& damaged,
              const Work& work) {
    try {
        work();
    } catch (const CppSQLite3Exception&) {
        throw;  // the database fails, not the frame
    } catch (const std::runtime_error& error) {
        if (!skipsDamaged) {
            throw;
        }
        damaged.push_back({frame.id, error.what()});
    }
}

}  // namespace lumo::run
