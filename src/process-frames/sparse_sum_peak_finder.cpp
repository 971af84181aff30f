#include "process-frames/sparse_sum_peak_finder.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "process-frames/full_profile_projector.h"

namespace lumo::algorithm {

namespace {

constexpr std::size_t kBitsPerMask = 64;

constexpr std::int32_t kMaxTotal = std::numeric_limits<std::int32_t>::max();

// An area of a maximum's surroundings looks this much further than a slope.
constexpr std::size_t kAreaMargin = 4;

std::uint64_t bitsAbove(int bit) { return bit == 63 ? 0 : ~std::uint64_t{0} << (bit + 1); }
std::uint64_t bitsBelow(int bit) { return (std::uint64_t{1} << bit) - 1; }

std::int32_t wrappingDifference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

std::size_t minus(std::size_t a, std::size_t b) { return a > b ? a - b : 0; }

}  // namespace

void SparseSumPeakFinder::find(const SparseProfile& profile, const WidthTable& widths, PeakSink& sink) {
    begin(profile.count, widths);
    if (ranges.empty()) {
        return;
    }
    sink.reserve(profile.runs.size());
    Runs runs = profile.runs;
    const int* values = profile.values.data();
    while (true) {
        const std::size_t singleBins = reportSingleBins(runs, values, sink);
        runs = runs.subspan(singleBins);
        values += singleBins;
        if (runs.empty()) {
            return;
        }
        const Runs neighbours = firstNeighbours(runs);
        scan(neighbours, values, sink);
        for (const BinInterval& run : neighbours) {
            values += run.size();
        }
        runs = runs.subspan(neighbours.size());
    }
}

void SparseSumPeakFinder::begin(std::size_t binCount, const WidthTable& widths) {
    count = binCount;
    ranges = smoothingRanges(count, 0, widths);
    nextRange = 0;
    wideStart = widths.startOfWideSegments();
    // A window reaches one half from a bin that is itself one half away, and an area up to four bins further.
    // The last range has the widest windows.
    halo = ranges.empty() ? 0 : 2 * ranges.back().half + kAreaMargin;
    total = 0;
    onlyAscending = true;
    rise = {};
}

// Bins with nothing around them, as most are, up to the first run that is not that simple. Returns how many.
std::size_t SparseSumPeakFinder::reportSingleBins(Runs runs, const int* values, PeakSink& sink) {
    if (runs.empty() || !onlyAscending) {
        return 0;
    }
    skipRangesBefore(runs.front().begin);
    if (nextRange == ranges.size()) {
        return 0;
    }
    const std::size_t first = ranges[nextRange].low + ranges[nextRange].half;
    const std::size_t end = minus(ranges[nextRange].high + 1, ranges[nextRange].half);
    std::size_t i = 0;
    for (; i < runs.size(); ++i) {
        const std::size_t bin = runs[i].begin;
        const bool isAlone =
            runs[i].end == bin + 1 && (i + 1 == runs.size() || runs[i + 1].begin > bin + halo);
        if (!isAlone || bin < first || bin >= end || values[i] <= 0 || values[i] > kMaxTotal - total) {
            break;
        }
        total += values[i];
        sink(static_cast<double>(bin), static_cast<float>(values[i]), values[i]);
    }
    if (i > 0) {
        rise = {};
    }
    return i;
}

// A run inside the surroundings of another belongs to its stretch.
SparseSumPeakFinder::Runs SparseSumPeakFinder::firstNeighbours(Runs runs) const {
    std::size_t neighbours = 1;
    while (neighbours < runs.size() && runs[neighbours].begin < runs[neighbours - 1].end + halo) {
        ++neighbours;
    }
    return runs.first(neighbours);
}

void SparseSumPeakFinder::scan(Runs runs, const int* values, PeakSink& sink) {
    const BinInterval interval{runs.front().begin, runs.back().end};
    skipRangesBefore(interval.begin);
    if (scanWithinOneRange(runs, values, sink)) {
        return;
    }
    sumUp(runs, values, halo);
    for (std::size_t i = nextRange; i < ranges.size() && ranges[i].low < interval.end + halo; ++i) {
        const SmoothingRange& range = ranges[i];
        const BinInterval binsInRange{std::max(range.low, minus(interval.begin, range.half)),
                                      std::min(range.high + 1, interval.end + range.half)};
        scanRange(range, binsInRange, sink);
    }
}

void SparseSumPeakFinder::skipRangesBefore(std::size_t bin) {
    while (nextRange < ranges.size() && ranges[nextRange].high < minus(bin, ranges[nextRange].half)) {
        ++nextRange;
    }
}

// Looks at hardly more than the runs themselves; false when that is not enough.
bool SparseSumPeakFinder::scanWithinOneRange(Runs runs, const int* values, PeakSink& sink) {
    const BinInterval interval{runs.front().begin, runs.back().end};
    if (nextRange == ranges.size() || !onlyAscending ||
        !ranges[nextRange].isAround(interval.begin, interval.end)) {
        return false;
    }
    const std::int32_t totalBefore = total;
    sumUp(runs, values, ranges[nextRange].half + kAreaMargin);
    if (!onlyAscending) {
        total = totalBefore;
        return false;
    }
    scanRange(ranges[nextRange], {interval.begin - 1, interval.end}, sink);
    return true;
}

// Makes the runs and the bins around them the current stretch.
void SparseSumPeakFinder::sumUp(Runs runs, const int* values, std::size_t margin) {
    stretch = {minus(runs.front().begin, margin), std::min(runs.back().end + margin, count)};
    if (const std::size_t needed = 1 + stretch.size() + kSlopeGroup; sums.size() < needed) {
        sums.resize(2 * needed);
    }
    sums[0] = total;
    summedUp = 1;
    rise.isInStretch = false;
    for (const BinInterval& run : runs) {
        appendEmpty(run.begin - stretch.begin + 1 - summedUp);
        append({values, run.size()});
        values += run.size();
    }
    appendEmpty(stretch.size() + 1 - summedUp);
}

void SparseSumPeakFinder::appendEmpty(std::size_t binCount) {
    std::fill_n(sums.data() + summedUp, binCount, total);
    summedUp += binCount;
}

void SparseSumPeakFinder::append(std::span<const int> values) {
    std::int32_t signs = 0;
    for (const int value : values) {
        total = wrappingSum(total, value);
        signs |= total | value;
        sums[summedUp] = total;
        ++summedUp;
    }
    onlyAscending = onlyAscending && signs >= 0;
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
        maximumWindow(static_cast<std::size_t>(position), firstFalling + 1, count, 0, wideStart);
    int largest = valueAt(window.first);
    for (std::size_t i = window.first + 1; i <= window.last; ++i) {
        largest = std::max(largest, valueAt(i));
    }
    const auto intensity = static_cast<float>(largest);
    if (sink.accepts(intensity)) {
        sink(position, intensity, largestArea(range, window));
    }
}

std::int32_t SparseSumPeakFinder::valueAt(std::size_t bin) const {
    const std::int32_t* const sum = sumAt(bin);
    return wrappingDifference(sum[0], sum[-1]);
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
