#include "kovarun/reductions/interval_map.h"

#include <algorithm>
#include <stdexcept>

#include "diag/throw.h"

// Building the bits costs as much as there are indices, divided by 64, plus sorting the ranges. Looking an
// index up costs two loads and a count of bits. It is built again only when the calibration changes, so a run
// with one builds it once.
namespace lumo::run {

namespace {

void setBit(std::vector<std::uint64_t>& bits, std::uint32_t place) {
    bits[place / 64] |= std::uint64_t{1} << place % 64;
}

// A word at a time between the ends: ranges of thousands of indices are common.
void setBits(std::vector<std::uint64_t>& bits, std::uint32_t begin, std::uint32_t end) {
    for (; begin < end && begin % 64 != 0; ++begin) {
        setBit(bits, begin);
    }
    for (; begin + 64 <= end; begin += 64) {
        bits[begin / 64] = ~std::uint64_t{0};
    }
    for (; begin < end; ++begin) {
        setBit(bits, begin);
    }
}

}  // namespace

void IntervalMap::build(std::span<const IndexRange> ranges, std::uint32_t bins) {
    constexpr std::uint32_t kMostBins = 1 << 26;  // what a file claims sizes memory here
    if (bins > kMostBins) {
        LUMO_THROW(std::runtime_error("The analysis has too many indices for chromatograms and images."));
    }
    const std::size_t words = bins / 64 + 2;  // ranges end one after the last index
    wanted.assign(words, 0);
    begins.assign(words, 0);
    beginsBeforeWord.resize(words);
    markBoundaries(ranges);
    markWanted();
    std::uint32_t before = 0;
    for (std::size_t word = 0; word < words; ++word) {
        beginsBeforeWord[word] = before;
        before += countBits(begins[word]);
    }
    pieces = before;
}

// Every boundary begins a piece; what follows a range that no other covers is a piece without wanted indices.
void IntervalMap::markBoundaries(std::span<const IndexRange> ranges) {
    starts.clear();
    ends.clear();
    for (const IndexRange& range : ranges) {
        if (range.begin < range.end) {
            LUMO_ASSERT(range.end / 64 < begins.size());
            setBit(begins, range.begin);
            setBit(begins, range.end);
            starts.push_back(range.begin);
            ends.push_back(range.end);
        }
    }
}

void IntervalMap::markWanted() {
    std::sort(starts.begin(), starts.end());
    std::sort(ends.begin(), ends.end());
    for (std::size_t i = 0; i < starts.size();) {
        const std::uint32_t begin = starts[i];
        // Between the sorted beginnings and the sorted ends: as long as the next range begins before as many
        // have ended as have begun, everything in between is covered.
        do {
            ++i;
        } while (i < starts.size() && starts[i] <= ends[i - 1]);
        setBits(wanted, begin, ends[i - 1]);
    }
}

}  // namespace lumo::run
