#include "process-frames/sparse_sum_peak_finder.h"

#include <algorithm>
#include <bit>

#include "process-frames/running_sum.h"

namespace lumo::algorithm {

namespace {

constexpr std::size_t kBitsPerMask = 64;
constexpr std::size_t kIntervalsAhead = 4;

// An area of a maximum's surroundings looks this much further than a slope.
constexpr std::size_t kAreaMargin = 4;

std::uint64_t bitsAbove(int bit) { return bit == 63 ? 0 : ~std::uint64_t{0} << (bit + 1); }
std::uint64_t bitsBelow(int bit) { return (std::uint64_t{1} << bit) - 1; }

std::size_t minus(std::size_t a, std::size_t b) { return a > b ? a - b : 0; }

}  // namespace

void SparseSumPeakFinder::find(std::span<const int> y, std::span<const BinInterval> occupied,
                               const WidthTable& widths, PeakSink& sink) {
    begin(y, widths);
    if (ranges.empty()) {
        return;
    }
    for (std::size_t i = 0; i < occupied.size();) {
        prefetch(occupied, i + kIntervalsAhead);
        BinInterval interval = occupied[i];
        // An interval inside the surroundings of another belongs to its stretch.
        for (++i; i < occupied.size() && occupied[i].begin < interval.end + halo; ++i) {
            interval.end = occupied[i].end;
        }
        scan(interval, sink);
    }
}

// Intervals lie far apart in a large profile, where the processor does not foresee the next one.
void SparseSumPeakFinder::prefetch(std::span<const BinInterval> occupied, std::size_t which) const {
    if (which < occupied.size()) {
        __builtin_prefetch(&profile[occupied[which].begin]);
    }
}

void SparseSumPeakFinder::begin(std::span<const int> y, const WidthTable& widths) {
    profile = y;
    ranges = smoothingRanges(y.size(), 0, widths);
    nextRange = 0;
    wideStart = widths.startOfWideSegments();
    // A window reaches one half from a bin that is itself one half away, and an area up to four bins further.
    // The last range has the widest windows.
    halo = ranges.empty() ? 0 : 2 * ranges.back().half + kAreaMargin;
    total = 0;
    onlyAscending = true;
    rise = {};
}

void SparseSumPeakFinder::scan(const BinInterval& interval, PeakSink& sink) {
    while (nextRange < ranges.size() &&
           ranges[nextRange].high < minus(interval.begin, ranges[nextRange].half)) {
        ++nextRange;
    }
    if (scanWithinOneRange(interval, sink)) {
        return;
    }
    sumUp(interval, halo);
    for (std::size_t i = nextRange; i < ranges.size() && ranges[i].low < interval.end + halo; ++i) {
        const SmoothingRange& range = ranges[i];
        const BinInterval binsInRange{std::max(range.low, minus(interval.begin, range.half)),
                                      std::min(range.high + 1, interval.end + range.half)};
        scanRange(range, binsInRange, sink);
    }
}

// Looks at hardly more than the interval itself; false when that is not enough.
bool SparseSumPeakFinder::scanWithinOneRange(const BinInterval& interval, PeakSink& sink) {
    if (nextRange == ranges.size() || !onlyAscending ||
        !ranges[nextRange].isAround(interval.begin, interval.end)) {
        return false;
    }
    const std::int32_t totalBefore = total;
    sumUp(interval, ranges[nextRange].half + kAreaMargin);
    if (!onlyAscending) {
        total = totalBefore;
        return false;
    }
    scanRange(ranges[nextRange], {interval.begin - 1, interval.end}, sink);
    return true;
}

// Makes the interval and the bins around it the current stretch.
void SparseSumPeakFinder::sumUp(const BinInterval& interval, std::size_t margin) {
    stretch = {minus(interval.begin, margin), std::min(interval.end + margin, profile.size())};
    if (const std::size_t needed = stretch.end - stretch.begin + kSlopeGroup; sums.size() < needed) {
        sums.resize(std::max(needed, 2 * sums.size()));
    }
    rise.isInStretch = false;
    const std::size_t occupied = interval.end - interval.begin;
    std::int32_t* const first = std::fill_n(sums.data(), interval.begin - stretch.begin, total);
    const RunningSum running = algorithm::sumUp(profile.subspan(interval.begin, occupied), total, first);
    std::fill_n(first + occupied, stretch.end - interval.end, running.total);
    total = running.total;
    onlyAscending = onlyAscending && running.signs >= 0;
}

void SparseSumPeakFinder::scanRange(const SmoothingRange& range, const BinInterval& binsInRange,
                                    PeakSink& sink) {
    const auto signs = onlyAscending ? slopeSignsOfAscending : slopeSigns;
    for (std::size_t i = binsInRange.begin; i < binsInRange.end; i += kBitsPerMask) {
        follow(signs(sumAt(i), range.half, std::min(binsInRange.end - i, kBitsPerMask)), range, i, sink);
    }
}

// Goes from rise to fall to rise. Between the last rising and the first falling bin lies a maximum.
void SparseSumPeakFinder::follow(SlopeSigns slopes, const SmoothingRange& range, std::size_t from,
                                 PeakSink& sink) {
    while (true) {
        if (!rise.found) {
            if (slopes.rising == 0) {
                return;
            }
            slopes.falling &= bitsAbove(std::countr_zero(slopes.rising));
        }
        const int fall = std::countr_zero(slopes.falling);
        const std::uint64_t risingBefore =
            slopes.falling == 0 ? slopes.rising : slopes.rising & bitsBelow(fall);
        if (risingBefore != 0) {
            const std::size_t bin = from + static_cast<std::size_t>(63 - std::countl_zero(risingBefore));
            rise = {true, true, bin, slopeAt(range, bin)};
        }
        if (slopes.falling == 0) {
            return;
        }
        report(range, from + static_cast<std::size_t>(fall), sink);
        rise = {};
        slopes.rising &= bitsAbove(fall);
        slopes.falling &= bitsAbove(fall);
    }
}

void SparseSumPeakFinder::report(const SmoothingRange& range, std::size_t firstFalling, PeakSink& sink) {
    const double position = maximumPosition(static_cast<int>(rise.bin), rise.slope,
                                            static_cast<int>(firstFalling) - 1, slopeAt(range, firstFalling));
    if (!rise.isInStretch) {
        sink(position, 0.0F, 0.0);
        return;
    }
    const MaximumWindow window =
        maximumWindow(static_cast<std::size_t>(position), firstFalling + 1, profile.size(), 0, wideStart);
    int largest = profile[window.first];
    for (std::size_t i = window.first + 1; i <= window.last; ++i) {
        largest = std::max(largest, profile[i]);
    }
    const auto intensity = static_cast<float>(largest);
    if (sink.accepts(intensity)) {
        sink(position, intensity, largestArea(range, window));
    }
}

double SparseSumPeakFinder::slopeAt(const SmoothingRange& range, std::size_t bin) const {
    const auto h = static_cast<std::ptrdiff_t>(range.half);
    const std::int32_t* const sum = sumAt(bin);
    return (static_cast<double>(sum[h]) + sum[-h] - 2.0 * sum[0]) / static_cast<double>(range.half);
}

double SparseSumPeakFinder::areaAt(const SmoothingRange& range, std::size_t bin) const {
    const auto reach = static_cast<std::ptrdiff_t>(range.reach);
    const std::int32_t* const sum = sumAt(bin);
    return static_cast<double>(sum[reach - 1]) - static_cast<double>(sum[1 - reach]);
}

// `range` is that of the first falling bin, and nearly always that of the whole window.
double SparseSumPeakFinder::largestArea(const SmoothingRange& range, const MaximumWindow& window) const {
    double largest = 0.0;
    for (std::size_t bin = window.first; bin <= window.last; ++bin) {
        double area = 0.0;
        if (bin >= range.low && bin <= range.high) {
            area = areaAt(range, bin);
        } else {
            for (const SmoothingRange& other : ranges) {
                area = bin >= other.low && bin <= other.high ? areaAt(other, bin) : area;
            }
        }
        largest = bin == window.first ? area : std::max(largest, area);
    }
    return largest;
}

}  // namespace lumo::algorithm
