#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "diag/assert.h"
#include "process-frames/algorithm/variable_width.h"

namespace lumo::algorithm {

// The sum peak finder, which says what a peak of a profile is.
//
// Peaks become wider with the flight time, so a profile is smoothed with windows whose width comes from a
// table (algorithm/variable_width.h). The smoothed slope at a bin is the mean of the bins above it minus the
// mean of those up to it. A maximum lies between the last bin with a positive slope and the first one with a
// negative slope after it. Its position is where the straight line between these slopes crosses 0, or the
// middle if they are far from each other.
//
// All sums are differences of running sums, in 32 bits that wrap: that is part of the definition, as are the
// order of the floating-point operations and the bins that are left out at both ends of a profile. What is
// marked "deliberate" looks like an oversight and fixes results; it must stay.
//
// The functions in this file look at every bin. sparse_sum_peak_finder.h gives the same peaks in a fraction
// of the time; profiles that are too short for it are padded and come here.

using WidthTable = variableWidth<unsigned long>;

// Receives maxima. Those whose intensity is above the threshold, and only those, are appended to the vectors,
// which are equally long before and have their final lengths when the sink goes. A sink without a vector for
// areas takes none, so nobody needs to compute them for it.
class PeakSink {
public:
    PeakSink(float minimum, std::vector<double>& positionsOut, std::vector<float>& intensitiesOut)
        : threshold(minimum),
          positions(positionsOut),
          intensities(intensitiesOut),
          count(positionsOut.size()) {
        LUMO_ASSERT(intensities.size() == count);
    }
    PeakSink(float minimum, std::vector<double>& positionsOut, std::vector<float>& intensitiesOut,
             std::vector<float>& areasOut)
        : PeakSink(minimum, positionsOut, intensitiesOut) {
        LUMO_ASSERT(areasOut.size() == count);
        areas = &areasOut;
    }
    PeakSink(const PeakSink&) = delete;
    PeakSink& operator=(const PeakSink&) = delete;
    ~PeakSink() { resize(count); }

    bool accepts(float intensity) const { return intensity > threshold; }
    bool takesAreas() const { return areas != nullptr; }

    // Makes room for about this many more.
    void reserve(std::size_t more) { resize(std::max(count + more, positions.size())); }

    // The area may be anything unless the sink takes areas.
    void operator()(double position, float intensity, double area) {
        if (accepts(intensity)) {
            if (count == positions.size()) {
                resize(count + count / 2 + kFirstPeaks);
            }
            positions[count] = position;
            intensities[count] = intensity;
            if (takesAreas()) {
                (*areas)[count] = static_cast<float>(area);
            }
            ++count;
        }
    }

private:
    static constexpr std::size_t kFirstPeaks = 64;

    void resize(std::size_t size) {
        positions.resize(size);
        intensities.resize(size);
        if (takesAreas()) {
            areas->resize(size);
        }
    }

    float threshold;
    std::vector<double>& positions;
    std::vector<float>& intensities;
    std::vector<float>* areas = nullptr;
    std::size_t count;
};

// Where one segment of the width table applies in a profile: for the bins from `low` to `high`, both
// included,
//   difference = (sum of the `half` bins above - sum of the `half` bins up to it) / half,
//   area = sum of the bins less than `reach` away from it but for the first of them; reach >= half.
// Every bin that the formulas of a range look at lies inside the profile.
struct SmoothingRange {
    std::size_t low;
    std::size_t high;
    std::size_t half;
    std::size_t reach;

    // Whether it has all bins whose difference or area is made of any of the bins [begin, end).
    bool isAround(std::size_t begin, std::size_t end) const {
        return low + reach <= begin && end + reach <= high + 1;
    }
};

// The ranges of a profile of n bins whose first bin has index `offset`, ascending; all other bins have
// difference and area 0. Deliberate: the table is followed only as far as its segments give non-empty ranges,
// so a first segment that is shorter than its own window ends it at once, and a segment that is too wide for
// the profile leaves no range at all.
std::vector<SmoothingRange> smoothingRanges(std::size_t n, std::size_t offset, const WidthTable& widths);

// The first step of the sum peak finder: the running sums of y's first n bins, and from them the smoothed
// slope and the area at each bin. Outputs grow to at least n entries. Raises std::invalid_argument "there are
// less y values than specified".
void partial_sum_calculations(std::span<const int> y, std::size_t n, std::size_t offset,
                              const WidthTable& widths, std::vector<double>& cumulative,
                              std::vector<double>& differences, std::vector<double>& areas);

// The second step: a maximum lies between the last rising and the first falling bin. `shift` bins of padding
// lie before the data; positions count from `offset` at the first bin after them. All inputs have at
// least n entries.
void localMaxima(std::span<const int> y, std::size_t n, std::span<const double> differences,
                 std::span<const double> areas, const WidthTable& widths, std::size_t shift,
                 std::size_t offset, PeakSink& sink);

// The sum peak finder: both steps on all of y, in scratch memory of the calling thread.
struct NewSPF {
    static void findPeaks(std::span<const int> y, const WidthTable& widths, std::size_t shift,
                          PeakSink& sink);
};

// Position of the maximum after the last rising bin `lastPos`, whose slope is `posVal`, when the bin after
// `lastNeg` is the first falling one and its slope is `negVal`.
inline double maximumPosition(int lastPos, double posVal, int lastNeg, double negVal) {
    if (lastPos == lastNeg) {
        return lastPos + 0.5 + posVal / (posVal - negVal);
    }
    const double distance = static_cast<double>(lastNeg) - static_cast<double>(lastPos);
    if (distance == 1.0) {
        return lastPos + 0.5 + 2.0 * posVal / (posVal - negVal);
    }
    return lastPos + 1.0 + distance * 0.5;
}

// The entries, both included, among which intensity and area of a maximum are the largest ones. `k` is the
// whole part of its position, `next` the bin after the first falling one. Deliberate: all but the last
// comparison are made without the shift, and entries before the data are reached by wrapping around.
struct MaximumWindow {
    std::size_t first;
    std::size_t last;
};
inline MaximumWindow maximumWindow(std::size_t k, std::size_t next, std::size_t n, std::size_t shift,
                                   std::size_t wideStart) {
    LUMO_ASSERT(n > 0);
    MaximumWindow window{k + shift, k + shift + 1};
    if (wideStart < next) {
        window = {shift + std::max<std::size_t>(k, 1) - 1, shift + (k + 1 < n ? k + 1 : k)};
    }
    window.last = std::min(window.last, n - 1);
    window.first = std::min(window.first, window.last);
    return window;
}

}  // namespace lumo::algorithm
