#include "process-frames/working_profile.h"

#include <algorithm>
#include <bit>

#include "diag/assert.h"

// Keeps the memory that summing up needs, and takes more only before anything is written to it.
namespace lumo::algorithm {

namespace {

// For assertions only: kernels write without looking.
bool areInside(WorkingProfile::Parts parts, std::size_t binCount) {
    return std::ranges::all_of(parts, [&](const auto& part) {
        return std::ranges::all_of(part.binView(), [&](std::uint32_t bin) { return bin < binCount; });
    });
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
    LUMO_ASSERT(areInside(parts, binCount));
    LUMO_ASSERT(
        std::all_of(hit.get(), hit.get() + capacity / kBinsPerWord, [](auto word) { return word == 0; }));
    return form(parts, binCount,
                {hit.get(), hitWords.data(), occupiedBefore.data(), runs.data(), sums.data()});
}

// Must be the last step that can fail, see working_profile.h. Capacities are powers of two so that profiles
// of slowly growing length do not take new memory each time.
void WorkingProfile::reserve(std::size_t binCount, std::size_t occupiedCount) {
    growTo(runs, occupiedCount);
    growTo(sums, occupiedCount);
    if (binCount <= capacity) {
        return;
    }
    const std::size_t newCapacity = std::bit_ceil(std::max(binCount, kBinsPerWord * kWordsPerGroup));
    const std::size_t words = newCapacity / kBinsPerWord;
    growTo(hitWords, words);
    growTo(occupiedBefore, words);
    hit = std::make_unique<std::uint64_t[]>(words);
    capacity = newCapacity;
}

}  // namespace lumo::algorithm
