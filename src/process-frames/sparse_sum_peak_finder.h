#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "process-frames/new_sumpeakfinder.h"
#include "process-frames/slope_signs.h"
#include "process-frames/sparse_profile.h"

namespace lumo::algorithm {

// Both steps of the sum peak finder (new_sumpeakfinder.h) in one, for a profile without padding of which only
// some intervals can hold anything but 0. Finds bit for bit what partial_sum_calculations and localMaxima
// find, without looking at the empty bins, which are 99 % of a profile.
//
// Three ways through a profile, from the fastest to the most general; each leaves what it cannot do to the
// next:
//   reportSingleBins    a bin with nothing around it is a peak by itself;
//   scanWithinOneRange  neighbouring runs inside one range of the width table;
//   scanAllRanges       anything: several ranges, negative bins, totals that wrap, the ends of the profile.
//
// Why that is so: the difference at bin i is made of three running sums, at i - h, i and i + h. Unless one of
// the bins from i - h + 1 to i + h is occupied, the three are equal, whether or not the total has wrapped
// before, and the difference is exactly 0. A difference of 0 changes nothing in the search for maxima. So it
// is enough to look at each occupied interval and the bins around it that a window reaches from there, with
// running sums that go on from one such stretch to the next.
//
// A maximum may still have its last rising bin r in one stretch and its first falling one in a later stretch.
// All differences in between are 0 then. After the earlier stretch the running sum is constant, so a
// difference of 0 at i makes the sum at i - h equal to those at i and i + h; going down from there, the sum
// is constant from r + 1 - h on, and the maximum, which lies above r, has intensity 0 and area 0.
//
// While no bin is negative and the total does not wrap, runs that are `reach` bins from each other and from
// the ends of their range are looked at one by one, and not even the bins around them but for begin - 1. With
// A(i) the sum of the h bins above i and B(i) that of the h bins up to i, the difference is (A - B) / h.
// Between two runs A only grows and B only shrinks, so nothing falls there once something has risen. At begin
// - 1 B is 0 and A is largest, so begin - 1 rises if anything does. At end - 1 A is 0, so what has risen has
// fallen there. Nor do intensity and area look further than `reach`, which is not less than h.
//
// A bin of v > 0 with nothing around it needs no sums at all then: its A is v up to the bin before it, its B
// from the bin itself on, so the slopes v / h and -v / h meet there, the position is the bin, and intensity
// and area are v.
//
// Keeps its buffers; one per thread.
class SparseSumPeakFinder {
public:
    explicit SparseSumPeakFinder(sys::SimdLevel level = sys::simdLevel())
        : ascendingSlopeSigns(ascendingSlopeSignsFor(level)) {}

    void find(const SparseProfile& profile, const WidthTable& widths, PeakSink& sink);

private:
    // The last rising bin since the last maximum.
    struct Rise {
        bool found = false;
        bool isInStretch = false;  // the current one
        std::size_t bin = 0;
        double slope = 0.0;
    };

    using Runs = std::span<const BinInterval>;

    void begin(const SparseProfile& profile, const WidthTable& widths);
    bool isDone() const { return nextRun == runs.size(); }
    void reportSingleBins(PeakSink& sink);
    Runs nextNeighbours(std::size_t gap) const;
    void step(Runs neighbours);
    bool scanWithinOneRange(PeakSink& sink);
    void scanAllRanges(PeakSink& sink);
    Runs stepBackBefore(std::size_t bin);
    void skipRangesBefore(std::size_t bin);
    void sumUp(Runs summed, std::size_t margin);
    void appendEmpty(std::size_t binCount);
    void append(std::span<const int> binValues);
    void scanRange(const SmoothingRange& range, const BinInterval& binsInRange, PeakSink& sink);
    void follow(SlopeSigns slopes, const SmoothingRange& range, std::size_t from, PeakSink& sink);
    void report(const SmoothingRange& range, std::size_t firstFalling, PeakSink& sink);

    // At bins of the current stretch.
    std::int32_t valueAt(std::size_t bin) const;
    const std::int32_t* sumAt(std::size_t bin) const { return sums.data() + 1 + (bin - stretch.begin); }
    // Whether the stretch has the sums of all bins that are up to `distance` away; for assertions.
    bool hasSums(std::size_t bin, std::size_t distance) const {
        return bin + 1 >= stretch.begin + distance && bin + 1 + distance < stretch.begin + summedUp;
    }
    double slopeAt(const SmoothingRange& range, std::size_t bin) const;
    double areaAt(const SmoothingRange& range, std::size_t bin) const;
    double largestArea(const SmoothingRange& range, const MaximumWindow& window) const;

    SlopeSignsForm ascendingSlopeSigns;
    std::size_t count = 0;  // of bins
    Runs runs;
    std::size_t nextRun = 0;          // runs before it are done with
    const int* nextValues = nullptr;  // of its bins
    std::vector<SmoothingRange> ranges;
    std::size_t nextRange = 0;  // ranges before it end before the bins still to be scanned
    std::size_t wideStart = 0;
    std::size_t halo = 0;            // bins around a run that windows of any range reach from it
    BinInterval stretch{0, 0};       // the current one
    std::vector<std::int32_t> sums;  // the sum of all bins before it, then its running sums
    std::size_t summedUp = 0;        // how many of them are there already
    std::int32_t total = 0;
    bool onlyAscending = true;  // so far no bin was negative and the total has not wrapped
    Rise rise;
};

}  // namespace lumo::algorithm
