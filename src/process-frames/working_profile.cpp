#include "process-frames/working_profile.h"

#include <algorithm>
#include <bit>
#include <new>

#include "diag/throw.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumo::algorithm {

namespace {

constexpr std::size_t kBitsPerStep = 16;

// One bit for each of sixteen bytes, which are 0 or 1.
std::uint64_t bitsOf(const std::uint8_t* bytes) {
#ifdef __SSE2__
    const __m128i sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    return static_cast<std::uint64_t>(_mm_movemask_epi8(_mm_cmpgt_epi8(sixteen, _mm_setzero_si128())));
#else
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kBitsPerStep; ++i) {
        bits |= std::uint64_t{bytes[i]} << i;
    }
    return bits;
#endif
}

}  // namespace

// Large blocks of the C library's zeroed memory come from the kernel and cost nothing until they are touched.
template <class T>
WorkingProfile::ZeroedArray<T> WorkingProfile::makeZeroed(std::size_t size) {
    ZeroedArray<T> array(static_cast<T*>(std::calloc(size, sizeof(T))));
    if (!array) {
        LUMO_THROW(std::bad_alloc());
    }
    return array;
}

void WorkingProfile::reserve(std::size_t count) {
    if (count <= capacity) {
        return;
    }
    const std::size_t newCapacity = std::bit_ceil(std::max(count, kSmallestCapacity));
    capacity = 0;
    bins = makeZeroed<int>(newCapacity);
    hit = makeZeroed<std::uint8_t>(newCapacity / kBlockSize);
    capacity = newCapacity;
}

std::uint64_t WorkingProfile::hitsFrom(std::size_t firstBlock) const {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < kBlocksPerMask; i += kBitsPerStep) {
        mask |= bitsOf(hit.get() + firstBlock + i) << i;
    }
    return mask;
}

WorkingProfile::Sum::Sum(WorkingProfile& working, std::size_t binCount) : profile(working), count(binCount) {
    profile.reserve(count);
}

WorkingProfile::Sum::~Sum() {
    for (std::size_t first = 0; first * kBlockSize < count; first += kBlocksPerMask) {
        for (std::uint64_t hits = profile.hitsFrom(first); hits != 0; hits &= hits - 1) {
            const std::size_t block = first + static_cast<std::size_t>(std::countr_zero(hits));
            std::fill_n(profile.bins.get() + block * kBlockSize, kBlockSize, 0);
            profile.hit[block] = 0;
        }
    }
}

void WorkingProfile::Sum::add(std::span<const FullProfileProjector<int>::Peak> peaks) {
    int* const sums = profile.bins.get();
    std::uint8_t* const hitBlocks = profile.hit.get();
    for (const auto& peak : peaks) {
        sums[peak.bin] = wrappingSum(sums[peak.bin], peak.intensity);
        hitBlocks[peak.bin / kBlockSize] = 1;
    }
}

std::span<const BinInterval> WorkingProfile::Sum::occupied() {
    profile.intervals.clear();
    for (std::size_t first = 0; first * kBlockSize < count; first += kBlocksPerMask) {
        std::uint64_t hits = profile.hitsFrom(first);
        while (hits != 0) {
            const int start = std::countr_zero(hits);
            const int length = std::countr_one(hits >> start);
            const std::size_t begin = (first + static_cast<std::size_t>(start)) * kBlockSize;
            const std::size_t end = begin + static_cast<std::size_t>(length) * kBlockSize;
            profile.intervals.push_back({begin, std::min(end, count)});
            hits &= hits + (std::uint64_t{1} << start);  // without the run of ones just found
        }
    }
    return profile.intervals;
}

}  // namespace lumo::algorithm
