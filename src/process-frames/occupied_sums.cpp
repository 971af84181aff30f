#include "process-frames/occupied_sums.h"

#include <algorithm>
#include <bit>
#include <utility>

#ifdef __x86_64__
#include <immintrin.h>
#endif
#define LUMO_INLINE inline __attribute__((always_inline))

// The two passes of occupied_sums.h. No step can fail, since all memory is there before: a bit that was left
// behind would spoil the next profile.
namespace lumo::algorithm {

namespace {

using Parts = std::span<const FullProfileProjector<int>::Part>;

// Groups answer which of the next 64 words have a bit set, one bit each. Both forms give the same mask;
// everything else is one template, compiled once per instruction set, since counting bits is a single
// instruction in one of them.
struct PlainGroup {
    static LUMO_INLINE std::uint64_t nonZeroWords(const std::uint64_t* words) {
        std::uint64_t mask = 0;
        for (std::size_t i = 0; i < kWordsPerGroup; ++i) {
            mask |= std::uint64_t{words[i] != 0} << i;
        }
        return mask;
    }
};

// First pass: one bit per occupied bin.
LUMO_INLINE void mark(std::uint64_t* hit, std::span<const std::uint32_t> bins) {
    for (const std::uint32_t bin : bins) {
        hit[bin / kBinsPerWord] |= std::uint64_t{1} << (bin % kBinsPerWord);
    }
}

struct Occupied {
    std::span<const std::uint32_t> words;
    std::size_t bins;
};

// Finds the words that have bits, and how many bits there are before each of them and in total.
template <class Group>
LUMO_INLINE Occupied findOccupied(std::size_t binCount, const OccupancyMemory& memory) {
    const std::size_t words = (binCount + kBinsPerWord - 1) / kBinsPerWord;
    std::uint32_t* found = memory.hitWords;
    std::uint32_t before = 0;
    for (std::size_t first = 0; first < words; first += kWordsPerGroup) {
        for (std::uint64_t mask = Group::nonZeroWords(memory.hit + first); mask != 0; mask &= mask - 1) {
            const std::size_t word = first + static_cast<std::size_t>(std::countr_zero(mask));
            *found++ = static_cast<std::uint32_t>(word);
            memory.occupiedBefore[word] = before;
            before += static_cast<std::uint32_t>(std::popcount(memory.hit[word]));
        }
    }
    return {{memory.hitWords, found}, before};
}

// Second pass: the entry of a bin is its rank among the occupied bins.
LUMO_INLINE void add(const FullProfileProjector<int>::Part& peaks, const OccupancyMemory& memory) {
    const std::uint64_t* const hit = memory.hit;
    const std::uint32_t* const before = memory.occupiedBefore;
    const std::uint32_t* const bins = peaks.bins.get();
    const int* const intensities = peaks.intensities.get();
    for (std::size_t i = 0; i < peaks.count; ++i) {
        const std::size_t word = bins[i] / kBinsPerWord;
        const std::uint64_t below = hit[word] & ((std::uint64_t{1} << (bins[i] % kBinsPerWord)) - 1);
        int& sum = memory.sums[before[word] + static_cast<std::uint32_t>(std::popcount(below))];
        sum = wrappingSum(sum, intensities[i]);
    }
}

// The intervals of occupied bins, in ascending order. A run ends with its word at the
// latest, so the next one may begin where it ends. Bits become 0 again as they are read.
LUMO_INLINE std::span<const BinInterval> takeRuns(std::span<const std::uint32_t> words,
                                                  const OccupancyMemory& memory) {
    BinInterval* run = memory.runs;
    for (const std::uint32_t word : words) {
        std::uint64_t hits = std::exchange(memory.hit[word], 0);
        while (hits != 0) {
            const int start = std::countr_zero(hits);
            const std::size_t begin = word * kBinsPerWord + static_cast<std::size_t>(start);
            *run++ = {begin, begin + static_cast<std::size_t>(std::countr_one(hits >> start))};
            hits &= hits + (std::uint64_t{1} << start);  // without the run of ones just found
        }
    }
    return {memory.runs, run};
}

template <class Group>
LUMO_INLINE SparseProfile sumUp(Parts parts, std::size_t binCount, const OccupancyMemory& memory) {
    for (const auto& part : parts) {
        mark(memory.hit, part.binView());
    }
    const Occupied occupied = findOccupied<Group>(binCount, memory);
    std::fill_n(memory.sums, occupied.bins, 0);
    for (const auto& part : parts) {
        add(part, memory);
    }
    return {binCount, takeRuns(occupied.words, memory), {memory.sums, occupied.bins}};
}

#ifdef __x86_64__

struct Avx2Group {
    LUMO_AVX2 static std::uint64_t nonZeroWords(const std::uint64_t* words) {
        std::uint64_t empty = 0;
        for (std::size_t i = 0; i < kWordsPerGroup; i += 4) {
            const __m256i four = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words + i));
            const __m256i isZero = _mm256_cmpeq_epi64(four, _mm256_setzero_si256());
            empty |= static_cast<std::uint64_t>(_mm256_movemask_pd(_mm256_castsi256_pd(isZero))) << i;
        }
        return ~empty;
    }
};

LUMO_AVX2 SparseProfile sumUpByAvx2(Parts parts, std::size_t binCount,
                                    const OccupancyMemory& memory) noexcept {
    return sumUp<Avx2Group>(parts, binCount, memory);
}

#endif

SparseProfile sumUpPlainly(Parts parts, std::size_t binCount, const OccupancyMemory& memory) noexcept {
    return sumUp<PlainGroup>(parts, binCount, memory);
}

}  // namespace

SumUpForm sumUpFormFor([[maybe_unused]] sys::SimdLevel level) {
#ifdef __x86_64__
    if (level == sys::SimdLevel::Avx2) {
        return sumUpByAvx2;
    }
#endif
    return sumUpPlainly;
}

}  // namespace lumo::algorithm
