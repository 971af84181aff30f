#include "process-frames/working_profile.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

#include "diag/throw.h"
#include "process-frames/occupied_sums.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumo::algorithm {

namespace {

constexpr std::size_t kWordsPerMask = 64;

// Which of the next 64 words have a bit set, one bit each.
std::uint64_t nonZeroWords(const std::uint64_t* words) {
    std::uint64_t mask = 0;
#ifdef __SSE2__
    for (std::size_t i = 0; i < kWordsPerMask; i += 4) {
        const __m128 a = _mm_loadu_ps(reinterpret_cast<const float*>(words + i));
        const __m128 b = _mm_loadu_ps(reinterpret_cast<const float*>(words + i + 2));
        const __m128i halves = _mm_or_si128(_mm_castps_si128(_mm_shuffle_ps(a, b, 0x88)),
                                            _mm_castps_si128(_mm_shuffle_ps(a, b, 0xDD)));
        const __m128i empty = _mm_cmpeq_epi32(halves, _mm_setzero_si128());
        mask |= static_cast<std::uint64_t>(15 ^ _mm_movemask_ps(_mm_castsi128_ps(empty))) << i;
    }
#else
    for (std::size_t i = 0; i < kWordsPerMask; ++i) {
        mask |= std::uint64_t{words[i] != 0} << i;
    }
#endif
    return mask;
}

template <class T>
void growTo(std::vector<T>& values, std::size_t count) {
    if (values.size() < count) {
        values.resize(count);
    }
}

}  // namespace

SparseProfile WorkingProfile::sumUp(Parts parts, std::size_t binCount) {
    std::size_t peaks = 0;
    for (const auto& part : parts) {
        peaks += part.count;
    }
    reserve(binCount, std::min(peaks, binCount));
    for (const auto& part : parts) {
        mark(part.binView());
    }
    const Words words = findHitWords(binCount);
    const OccupiedBins occupied{hit.get(), words, occupiedBefore.data()};
    const std::size_t count = countOccupied(occupied);
    std::fill_n(sums.begin(), count, 0);
    for (const auto& part : parts) {
        addToOccupied(occupied, part, sums.data());
    }
    return {binCount, takeRuns(words), {sums.data(), count}};
}

// Nothing can fail behind it, so that no bit stays behind.
void WorkingProfile::reserve(std::size_t binCount, std::size_t occupiedCount) {
    growTo(runs, occupiedCount);
    growTo(sums, occupiedCount);
    if (binCount <= capacity) {
        return;
    }
    const std::size_t newCapacity = std::bit_ceil(std::max(binCount, kBinsPerWord * kWordsPerMask));
    const std::size_t words = newCapacity / kBinsPerWord;
    growTo(hitWords, words);
    growTo(occupiedBefore, words);
    hit = std::make_unique<std::uint64_t[]>(words);
    capacity = newCapacity;
}

void WorkingProfile::mark(std::span<const std::uint32_t> bins) noexcept {
    std::uint64_t* const hits = hit.get();
    for (const std::uint32_t bin : bins) {
        hits[bin / kBinsPerWord] |= std::uint64_t{1} << (bin % kBinsPerWord);
    }
}

WorkingProfile::Words WorkingProfile::findHitWords(std::size_t binCount) noexcept {
    const std::size_t words = (binCount + kBinsPerWord - 1) / kBinsPerWord;
    std::uint32_t* found = hitWords.data();
    for (std::size_t first = 0; first < words; first += kWordsPerMask) {
        for (std::uint64_t mask = nonZeroWords(&hit[first]); mask != 0; mask &= mask - 1) {
            *found++ = static_cast<std::uint32_t>(first + static_cast<std::size_t>(std::countr_zero(mask)));
        }
    }
    return {hitWords.data(), found};
}

// Bits become 0 again as they are read.
std::span<const BinInterval> WorkingProfile::takeRuns(Words words) noexcept {
    BinInterval* run = runs.data();
    for (const std::uint32_t word : words) {
        std::uint64_t hits = std::exchange(hit[word], 0);
        while (hits != 0) {
            const int start = std::countr_zero(hits);
            const std::size_t begin = word * kBinsPerWord + static_cast<std::size_t>(start);
            *run++ = {begin, begin + static_cast<std::size_t>(std::countr_one(hits >> start))};
            hits &= hits + (std::uint64_t{1} << start);  // without the run of ones just found
        }
    }
    return {runs.data(), run};
}

}  // namespace lumo::algorithm
