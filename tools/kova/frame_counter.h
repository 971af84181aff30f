#pragma once

#include <memory>

#include "frame_table.h"
#include "open_analysis.h"

namespace kova_tool {

// Counts what a frame of one format holds.
class FrameCounter {
public:
    virtual ~FrameCounter() = default;
    // Fills in what is not known yet. Throws Failure if the frame cannot be read.
    virtual void count(FrameRow& frame) = 0;
};

// With readsAll it trusts no number of the metadata. The analysis must outlive the counter.
std::unique_ptr<FrameCounter> makeFrameCounter(const OpenAnalysis& analysis, bool readsAll);

}  // namespace kova_tool
