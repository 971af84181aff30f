#include "process-frames/working_profile.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "diag/throw.h"

namespace lumo::algorithm {

namespace {

// Bit i is the lowest bit of the i-th byte in memory; all other bits of the bytes are 0. The multiplication
// moves the eight bits next to each other in the highest byte.
std::uint64_t lowBitsOfBytes(std::uint64_t word) {
    constexpr bool kLowestByteFirst = std::endian::native == std::endian::little;
    return word * (kLowestByteFirst ? 0x0102040810204080U : 0x8040201008040201U) >> 56;
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
    for (std::size_t i = 0; i < kBlocksPerMask; i += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, hit.get() + firstBlock + i, sizeof(word));
        mask |= lowBitsOfBytes(word) << i;
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
