#pragma once

#include <vector>

#include "process-frames/algorithm/variable_width.h"
#include "process-frames/data_frame.h"
#include "process-frames/full_profile_projector.h"

namespace lumo::algorithm {

// Finds the peaks of a summed profile, with their areas or without, which takes less time. Positions are
// fractional bins, counted from the first one. The profile and the width table must outlive it; scratch
// memory belongs to the calling thread, as large as its longest profile needs.
template <class Frame, class Intensity, bool WithAreas>
class PeakDetectionForDataFrames;

template <>
class PeakDetectionForDataFrames<DataFrame<int, int>, float, true> {
public:
    PeakDetectionForDataFrames(const FullProfileProjector<int>& profile,
                               variableWidth<unsigned long>& widthTable)
        : projector(profile), widths(widthTable) {}

    // Appends the peaks whose intensity is above the threshold, in ascending order. The width table is
    // extended if the profile is longer than what it covers; without any usable width there are no peaks.
    void detectPeaks(float threshold, std::vector<double>& positions, std::vector<float>& intensities,
                     std::vector<float>& areas);

private:
    const FullProfileProjector<int>& projector;
    variableWidth<unsigned long>& widths;
};

// The same positions and intensities, without areas.
template <>
class PeakDetectionForDataFrames<DataFrame<int, int>, float, false> {
public:
    PeakDetectionForDataFrames(const FullProfileProjector<int>& profile,
                               variableWidth<unsigned long>& widthTable)
        : projector(profile), widths(widthTable) {}

    void detectPeaks(float threshold, std::vector<double>& positions, std::vector<float>& intensities);

private:
    const FullProfileProjector<int>& projector;
    variableWidth<unsigned long>& widths;
};

}  // namespace lumo::algorithm
