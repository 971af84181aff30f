#include "process-frames/occupied_sums.h"

#include <bit>

#ifdef __x86_64__
// The first processors of this architecture count bits by a dozen of instructions.
#define LUMO_POPCNT __attribute__((target("popcnt")))
#define LUMO_INLINE inline __attribute__((always_inline))
#else
#define LUMO_INLINE inline
#endif

namespace lumo::algorithm {

namespace {

using Peaks = FullProfileProjector<int>::Part;

LUMO_INLINE std::size_t count(const OccupiedBins& occupied) {
    std::uint32_t before = 0;
    for (const std::uint32_t word : occupied.words) {
        occupied.before[word] = before;
        before += static_cast<std::uint32_t>(std::popcount(occupied.hit[word]));
    }
    return before;
}

LUMO_INLINE void add(const OccupiedBins& occupied, const Peaks& peaks, int* sums) {
    const std::uint64_t* const hit = occupied.hit;
    const std::uint32_t* const before = occupied.before;
    const std::uint32_t* const bins = peaks.bins.get();
    const int* const intensities = peaks.intensities.get();
    for (std::size_t i = 0; i < peaks.count; ++i) {
        const std::size_t word = bins[i] / kBinsPerWord;
        const std::uint64_t below = hit[word] & ((std::uint64_t{1} << (bins[i] % kBinsPerWord)) - 1);
        int& sum = sums[before[word] + static_cast<std::uint32_t>(std::popcount(below))];
        sum = wrappingSum(sum, intensities[i]);
    }
}

#ifdef __x86_64__

LUMO_POPCNT std::size_t countByInstruction(const OccupiedBins& occupied) { return count(occupied); }

LUMO_POPCNT void addByInstruction(const OccupiedBins& occupied, const Peaks& peaks, int* sums) {
    add(occupied, peaks, sums);
}

bool hasInstruction() {
    static const bool has = __builtin_cpu_supports("popcnt") != 0;
    return has;
}

#endif

}  // namespace

std::size_t countOccupied(const OccupiedBins& occupied) noexcept {
#ifdef __x86_64__
    if (hasInstruction()) {
        return countByInstruction(occupied);
    }
#endif
    return count(occupied);
}

void addToOccupied(const OccupiedBins& occupied, const Peaks& peaks, int* sums) noexcept {
#ifdef __x86_64__
    if (hasInstruction()) {
        addByInstruction(occupied, peaks, sums);
        return;
    }
#endif
    add(occupied, peaks, sums);
}

}  // namespace lumo::algorithm
