#pragma once

#include <memory>

#include "check_tally.h"
#include "frame_table.h"
#include "open_analysis.h"

namespace kova_tool {

// Reads all that a frame of one format holds.
class FrameChecker {
public:
    virtual ~FrameChecker() = default;
    // Adds the frame to the tally. Throws Failure, and adds nothing, if it is damaged.
    virtual void check(const FrameRow& frame, CheckTally& tally) = 0;
};

// The analysis must outlive the checker.
std::unique_ptr<FrameChecker> makeFrameChecker(const OpenAnalysis& analysis);

}  // namespace kova_tool
