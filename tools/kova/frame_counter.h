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

// Whether numbers that the metadata state are taken from there.
enum class CountedFrom { MetadataAndData, DataOnly };

// The analysis must outlive the counter.
std::unique_ptr<FrameCounter> makeFrameCounter(const OpenAnalysis& analysis, CountedFrom source);

}  // namespace kova_tool
