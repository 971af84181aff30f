#include "process-frames/new_sumpeakfinder.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "diag/assert.h"
#include "diag/throw.h"
#include "process-frames/full_profile_projector.h"

// The definition of a peak as plain loops over all bins, in the order of operations that fixes the bits of
// every result. Nothing here is made faster: the fast form is elsewhere, and is compared with this one.
namespace lumo::algorithm {

namespace {

constexpr int kUnset = -1;

// Positions are computed from bins of type int, so bins beyond the range of 32 bits wrap.
int wrapToInt(std::size_t value) { return static_cast<int>(static_cast<std::uint32_t>(value)); }

void grow(std::vector<double>& values, std::size_t n) {
    if (values.size() < n) {
        values.resize(n);
    }
}

void sumUp(std::span<const int> y, std::size_t n, std::vector<double>& cumulative) {
    std::int32_t total = 0;
    for (std::size_t i = 0; i < n; ++i) {
        total = wrappingSum(total, y[i]);
        cumulative[i] = total;
    }
}

// Differences of running sums: each bin costs the same whatever the width of the window.
void smooth(const SmoothingRange& range, const std::vector<double>& S, std::vector<double>& differences,
            std::vector<double>& areas) {
    const std::size_t h = range.half;
    const std::size_t m = range.reach;
    for (std::size_t i = range.low; i <= range.high; ++i) {
        differences[i] = (S[i + h] + S[i - h] - 2.0 * S[i]) / static_cast<double>(h);
        areas[i] = S[i + m - 1] - S[i + 1 - m];
    }
}

}  // namespace

// Which bins have a slope, for each segment of the widths: those whose windows lie inside of the profile. A
// profile that is shorter than a window has none at all.
std::vector<SmoothingRange> smoothingRanges(std::size_t n, std::size_t offset, const WidthTable& widths) {
    std::vector<SmoothingRange> ranges;
    for (std::size_t segment = 0; segment < widths.size(); ++segment) {
        const std::size_t h = widths.widthOf(segment) / 2 + 1;
        if (n < 2 * h + 1) {
            return {};
        }
        if (widths.endOf(segment) < offset) {
            break;
        }
        const std::size_t start = widths.startOf(segment) < offset ? 0 : widths.startOf(segment) - offset;
        const std::size_t low = std::max(start, h);
        std::size_t high = std::min<std::size_t>(widths.endOf(segment) - offset, n - 1);
        if (n <= high + h + 1) {
            high = n - 2 - h;
        }
        // The area of a bin looks two bins down at least.
        const SmoothingRange range{low == 1 ? 2 : low, high, h, std::max<std::size_t>(h, 3)};
        if (range.low > range.high) {
            break;
        }
        ranges.push_back(range);
    }
    return ranges;
}

void partial_sum_calculations(std::span<const int> y, std::size_t n, std::size_t offset,
                              const WidthTable& widths, std::vector<double>& cumulative,
                              std::vector<double>& differences, std::vector<double>& areas) {
    if (y.empty()) {
        return;
    }
    if (n > y.size()) {
        LUMO_THROW(std::invalid_argument("there are less y values than specified"));
    }
    grow(cumulative, n);
    grow(differences, n);
    grow(areas, n);
    sumUp(y, n, cumulative);
    // The memory still has what an earlier profile left in it.
    std::fill_n(differences.begin(), n, 0.0);
    std::fill_n(areas.begin(), n, 0.0);
    for (const SmoothingRange& range : smoothingRanges(n, offset, widths)) {
        smooth(range, cumulative, differences, areas);
    }
}

// A maximum is where slopes change from rising to falling: somewhere from the last bin that rises to the first
// that falls after it. Flat bins in between change nothing, so plateaus have one maximum, in their middle as
// far as the two slopes allow. Both bins are forgotten when a peak was found.
void localMaxima(std::span<const int> y, std::size_t n, std::span<const double> differences,
                 std::span<const double> areas, const WidthTable& widths, std::size_t shift,
                 std::size_t offset, PeakSink& sink) {
    LUMO_ASSERT(y.empty() || n == 2 * shift + 1 || (differences.size() >= n && areas.size() >= n));
    LUMO_ASSERT(y.empty() || y.size() >= n);
    if (y.empty() || 2 * shift > n) {
        return;
    }
    if (n == 2 * shift + 1) {
        sink(static_cast<double>(offset), static_cast<float>(y[shift]), y[shift]);
        return;
    }
    const std::size_t wideStart = widths.startOfWideSegments();
    int lastPos = kUnset;
    int lastNeg = kUnset;
    double posVal = 0.0;
    double negVal = 0.0;
    for (std::size_t i = 0; i + shift < n; ++i) {
        if (differences[i] < 0.0) {
            lastNeg = wrapToInt(offset + i - 1);
            negVal = differences[i];
        } else if (differences[i] > 0.0) {
            lastPos = wrapToInt(offset + i);
            posVal = differences[i];
        }
        if (lastPos == kUnset || lastNeg == kUnset || lastPos > lastNeg) {
            continue;
        }
        const double position =
            maximumPosition(lastPos, posVal, lastNeg, negVal) - static_cast<double>(shift);
        const auto k =
            static_cast<std::size_t>(static_cast<std::int64_t>(position - static_cast<double>(offset)));
        const auto [first, last] = maximumWindow(k, i + 1, n, shift, wideStart);
        const auto from = static_cast<std::ptrdiff_t>(first);
        const auto to = static_cast<std::ptrdiff_t>(last + 1);
        sink(position, static_cast<float>(*std::max_element(y.begin() + from, y.begin() + to)),
             *std::max_element(areas.begin() + from, areas.begin() + to));
        lastPos = kUnset;
        lastNeg = kUnset;
    }
}

// Scratch memory stays with the thread; its old contents are overwritten or cleared as far as they are used.
void NewSPF::findPeaks(std::span<const int> y, const WidthTable& widths, std::size_t shift, PeakSink& sink) {
    thread_local std::vector<double> cumulative;
    thread_local std::vector<double> differences;
    thread_local std::vector<double> areas;
    partial_sum_calculations(y, y.size(), 0, widths, cumulative, differences, areas);
    localMaxima(y, y.size(), differences, areas, widths, shift, 0, sink);
}

}  // namespace lumo::algorithm
