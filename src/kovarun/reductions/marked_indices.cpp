#include "kovarun/reductions/marked_indices.h"

#include <cstring>

#include "kovarun/reductions/eight_entries.h"

// Few peaks are wanted, and which ones cannot be foreseen. So no form branches on a single peak: the plain one
// writes each position and keeps it only if its bit is set, the one with vectors collects the bits of 64 peaks
// into a word and goes from one set bit to the next.
namespace lumo::run {

namespace {

std::size_t findPlainly(const std::uint64_t* bits, const std::uint32_t* indices, std::size_t count,
                        std::uint32_t* positions) {
    std::size_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
        positions[found] = static_cast<std::uint32_t>(i);
        found += bits[indices[i] / 64] >> indices[i] % 64 & 1;
    }
    return found;
}

#ifdef __x86_64__

// The bits of eight indices: each is shifted to the top of its word, whence it is taken.
LUMO_AVX2 inline std::uint64_t bitsOfEight(const std::uint64_t* bits, const std::uint32_t* indices) {
    __m256i eight;
    std::memcpy(&eight, indices, sizeof eight);
    const __m256i words = eightEntries(bits, indices, 5);
    const __m256i fromTop = _mm256_andnot_si256(eight, _mm256_set1_epi32(31));
    return static_cast<std::uint32_t>(
        _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_sllv_epi32(words, fromTop))));
}

LUMO_AVX2 std::size_t findByAvx2(const std::uint64_t* bits, const std::uint32_t* indices, std::size_t count,
                                 std::uint32_t* positions) {
    std::size_t found = 0;
    std::size_t i = 0;
    for (; i + 64 <= count; i += 64) {
        std::uint64_t marked = 0;
#pragma GCC unroll 8
        for (unsigned j = 0; j < 64; j += 8) {
            marked |= bitsOfEight(bits, indices + i + j) << j;
        }
        for (; marked != 0; marked &= marked - 1) {
            positions[found++] =
                static_cast<std::uint32_t>(i + static_cast<unsigned>(__builtin_ctzll(marked)));
        }
    }
    const std::size_t ofRest = findPlainly(bits, indices + i, count - i, positions + found);
    for (std::size_t j = 0; j < ofRest; ++j) {
        positions[found++] += static_cast<std::uint32_t>(i);
    }
    return found;
}

#endif

}  // namespace

FindMarked findMarkedBy([[maybe_unused]] sys::SimdLevel level) {
#ifdef __x86_64__
    if (level == sys::SimdLevel::Avx2) {
        return findByAvx2;
    }
#endif
    return findPlainly;
}

}  // namespace lumo::run
