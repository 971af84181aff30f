#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "diag/assert.h"
#include "kovarun/query/mass_axis.h"
#include "kovarun/reductions/marked_indices.h"
#include "sys/cpu.h"

namespace lumo::run {

// Cuts any number of ranges of indices, which may overlap, into pieces that do not, and finds the piece of an
// index. A range is then a run of successive pieces. Thousands of ranges cost no more per peak than one: a
// bit says whether an index is in any of them, which most are not, and the number of pieces that begin up to
// it says in which.
//
// Pieces also fill the gaps between ranges, so one always follows the last piece of a range: `end` of a
// range's pieces is a piece itself.
class IntervalMap {
public:
    explicit IntervalMap(sys::SimdLevel level = sys::simdLevel()) : findMarked(findMarkedBy(level)) {}

    // Pieces [begin, end) of a range; none for an empty one.
    struct Pieces {
        std::uint32_t begin = 0;
        std::uint32_t end = 0;
    };

    // `bins` is the number of indices, and ranges end at or before it. Raises std::runtime_error for more
    // than 2^26.
    void build(std::span<const IndexRange> ranges, std::uint32_t bins);

    std::size_t pieceCount() const { return pieces; }
    Pieces piecesOf(const IndexRange& range) const {
        return range.begin < range.end ? Pieces{beginsBefore(range.begin), beginsBefore(range.end)}
                                       : Pieces{};
    }

    // Writes the positions of those indices that are in any range, ascending, and returns how many they are.
    // Positions have room for every index.
    std::size_t findWanted(const std::uint32_t* indices, std::size_t count, std::uint32_t* positions) const {
        LUMO_ASSERT(std::all_of(indices, indices + count,
                                [this](std::uint32_t index) { return index / 64 < wanted.size(); }));
        return findMarked(wanted.data(), indices, count, positions);
    }

    // The piece of an index that is in any range.
    std::uint32_t pieceOf(std::uint32_t index) const { return beginsBefore(index + 1) - 1; }

private:
    // Counts bits without a function call, which the standard function is where the processor may lack the
    // instruction.
    static std::uint32_t countBits(std::uint64_t bits) {
        bits -= bits >> 1 & 0x5555555555555555;
        bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
        bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0F;
        return static_cast<std::uint32_t>(bits * 0x0101010101010101 >> 56);
    }

    // The number of pieces that begin before an index.
    std::uint32_t beginsBefore(std::uint32_t index) const {
        const std::uint64_t below = (std::uint64_t{1} << index % 64) - 1;
        return beginsBeforeWord[index / 64] + countBits(begins[index / 64] & below);
    }

    void markBoundaries(std::span<const IndexRange> ranges);
    void markWanted();

    FindMarked findMarked;
    std::vector<std::uint64_t> wanted;  // a bit per index: whether it is in a range
    std::vector<std::uint64_t> begins;  // a bit per index: whether a piece begins there
    std::vector<std::uint32_t> beginsBeforeWord;
    std::vector<std::uint32_t> starts;  // of ranges, ascending
    std::vector<std::uint32_t> ends;
    std::size_t pieces = 0;
};

}  // namespace lumo::run
