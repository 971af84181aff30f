#include "process-frames/sparse_sum_peak_finder.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "diag/assert.h"
#include "process-frames/full_profile_projector.h"

// The search goes through the profile once, from run to run. sparse_sum_peak_finder.h says why the bins in
// between need no look; here each function states how far it must look, and gives up when that is not inside
// of what it has.
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
    begin(profile, widths);
    if (ranges.empty()) {
        return;
    }
    sink.reserve(runs.size());
    while (!isDone()) {
        reportSingleBins(sink);
        if (!isDone() && !scanWithinOneRange(sink)) {
            scanAllRanges(sink);
        }
    }
}

void SparseSumPeakFinder::begin(const SparseProfile& profile, const WidthTable& widths) {
    LUMO_ASSERT(profile.isConsistent());
    count = profile.count;
    runs = profile.runs;
    nextRun = 0;
    nextValues = profile.values.data();
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

// Bins with nothing around them, as most are, up to the first run that is not that simple.
void SparseSumPeakFinder::reportSingleBins(PeakSink& sink) {
    skipRangesBefore(runs[nextRun].begin);
    if (!onlyAscending || nextRange == ranges.size()) {
        return;
    }
    const SmoothingRange range = ranges[nextRange];
    const Runs rest = runs.subspan(nextRun);
    std::size_t i = 0;
    for (; i < rest.size(); ++i) {
        const std::size_t bin = rest[i].begin;
        const bool isAlone =
            rest[i].end == bin + 1 && (i + 1 == rest.size() || rest[i + 1].begin > bin + range.reach);
        const int value = nextValues[i];
        if (!isAlone || !range.isAround(bin, bin + 1) || value <= 0 || value > kMaxTotal - total) {
            break;
        }
        total += value;
        sink(static_cast<double>(bin), static_cast<float>(value), value);
    }
    if (i > 0) {
        rise = {};
    }
    nextRun += i;
    nextValues += i;
}

// The next run and those after it, as long as less than `gap` empty bins lie between one and the next.
SparseSumPeakFinder::Runs SparseSumPeakFinder::nextNeighbours(std::size_t gap) const {
    std::size_t end = nextRun + 1;
    while (end < runs.size() && runs[end].begin < runs[end - 1].end + gap) {
        ++end;
    }
    return runs.subspan(nextRun, end - nextRun);
}

// Done with these runs.
void SparseSumPeakFinder::step(Runs neighbours) {
    for (const BinInterval& run : neighbours) {
        nextValues += run.size();
    }
    nextRun += neighbours.size();
}

// Looks at hardly more than the runs themselves. False when that is not enough; the total is then as before.
bool SparseSumPeakFinder::scanWithinOneRange(PeakSink& sink) {
    skipRangesBefore(runs[nextRun].begin);
    if (!onlyAscending || nextRange == ranges.size()) {
        return false;
    }
    const SmoothingRange& range = ranges[nextRange];
    const Runs neighbours = nextNeighbours(range.reach);
    const BinInterval interval{neighbours.front().begin, neighbours.back().end};
    if (!range.isAround(interval.begin, interval.end)) {
        return false;
    }
    const std::int32_t totalBefore = total;
    sumUp(neighbours, range.half + kAreaMargin);
    if (!onlyAscending) {
        total = totalBefore;
        return false;
    }
    scanRange(range, {interval.begin - 1, interval.end}, sink);
    step(neighbours);
    return true;
}

// The slow way, which needs no assumption. Runs that scanWithinOneRange() has passed may reach into the
// windows of this stretch, so it steps back to them first.
void SparseSumPeakFinder::scanAllRanges(PeakSink& sink) {
    const Runs neighbours = nextNeighbours(halo);
    const BinInterval interval{neighbours.front().begin, neighbours.back().end};
    const Runs before = stepBackBefore(minus(interval.begin, halo));
    sumUp({before.data(), before.size() + neighbours.size()}, halo);
    for (std::size_t i = nextRange; i < ranges.size() && ranges[i].low < interval.end + halo; ++i) {
        const SmoothingRange& range = ranges[i];
        const BinInterval binsInRange{std::max(range.low, minus(interval.begin, range.half)),
                                      std::min(range.high + 1, interval.end + range.half)};
        scanRange(range, binsInRange, sink);
    }
    step({before.data(), before.size() + neighbours.size()});
}

// Goes back to the first run that ends after the bin, and takes what it held off the total again. Returns the
// runs that were done with before.
SparseSumPeakFinder::Runs SparseSumPeakFinder::stepBackBefore(std::size_t bin) {
    const std::size_t end = nextRun;
    while (nextRun > 0 && runs[nextRun - 1].end > bin) {
        --nextRun;
        for (std::size_t left = runs[nextRun].size(); left > 0; --left) {
            --nextValues;
            total = wrappingDifference(total, *nextValues);
        }
    }
    return runs.subspan(nextRun, end - nextRun);
}

// Ranges are passed for good when even their last window ends before the bin.
void SparseSumPeakFinder::skipRangesBefore(std::size_t bin) {
    while (nextRange < ranges.size() && ranges[nextRange].high < minus(bin, ranges[nextRange].half)) {
        ++nextRange;
    }
}

// Makes these runs, the next ones, and the bins around them the current stretch.
void SparseSumPeakFinder::sumUp(Runs summed, std::size_t margin) {
    stretch = {minus(summed.front().begin, margin), std::min(summed.back().end + margin, count)};
    if (const std::size_t needed = 1 + stretch.size() + kSlopeGroup; sums.size() < needed) {
        sums.resize(2 * needed);
    }
    sums[0] = total;
    summedUp = 1;
    rise.isInStretch = false;
    const int* values = nextValues;
    for (const BinInterval& run : summed) {
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

// The highest bit of `signs` shows whether any bin or any total was negative; a total that wraps becomes
// negative before it can become positive again.
void SparseSumPeakFinder::append(std::span<const int> binValues) {
    std::int32_t signs = 0;
    for (const int value : binValues) {
        total = wrappingSum(total, value);
        signs |= total | value;
        sums[summedUp] = total;
        ++summedUp;
    }
    onlyAscending = onlyAscending && signs >= 0;
}

void SparseSumPeakFinder::scanRange(const SmoothingRange& range, const BinInterval& binsInRange,
                                    PeakSink& sink) {
    const SlopeSignsForm signs = onlyAscending ? ascendingSlopeSigns : slopeSigns;
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

// Intensity and area of a maximum whose last rise is in an earlier stretch are 0, see the header.
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
        sink(position, intensity, sink.takesAreas() ? largestArea(range, window) : 0.0);
    }
}

std::int32_t SparseSumPeakFinder::valueAt(std::size_t bin) const {
    LUMO_ASSERT(hasSums(bin, 1));
    const std::int32_t* const sum = sumAt(bin);
    return wrappingDifference(sum[0], sum[-1]);
}

// In the order of operations of the plain form, which fixes the bits.
double SparseSumPeakFinder::slopeAt(const SmoothingRange& range, std::size_t bin) const {
    const auto h = static_cast<std::ptrdiff_t>(range.half);
    LUMO_ASSERT(hasSums(bin, range.half));
    const std::int32_t* const sum = sumAt(bin);
    return (static_cast<double>(sum[h]) + sum[-h] - 2.0 * sum[0]) / static_cast<double>(range.half);
}

double SparseSumPeakFinder::areaAt(const SmoothingRange& range, std::size_t bin) const {
    const auto reach = static_cast<std::ptrdiff_t>(range.reach);
    LUMO_ASSERT(hasSums(bin, range.reach - 1));
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
