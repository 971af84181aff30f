#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "process-frames/full_profile_projector.h"

namespace lumo::algorithm {

// Bins [begin, end) of a profile; all bins outside such intervals are 0.
struct BinInterval {
    std::size_t begin;
    std::size_t end;
};

// Where the collected peaks of one profile are summed up, one profile after the other on a thread. It knows
// which small blocks of bins were hit, so that neither reading nor clearing looks at the rest, and memory
// that is never hit is never touched. Between uses all bins are 0.
class WorkingProfile {
public:
    // One profile of up to `count` bins. All bins become 0 again when it goes.
    class Sum {
    public:
        Sum(WorkingProfile& working, std::size_t binCount);
        Sum(const Sum&) = delete;
        Sum& operator=(const Sum&) = delete;
        ~Sum();

        // All of them must be inside the profile.
        void add(std::span<const FullProfileProjector<int>::Peak> peaks);

        std::span<const int> bins() const { return {profile.bins.get(), count}; }

        // Ascending and disjoint; valid until the next call.
        std::span<const BinInterval> occupied();

    private:
        WorkingProfile& profile;
        std::size_t count;
    };

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    template <class T>
    using ZeroedArray = std::unique_ptr<T[], Free>;

    static constexpr std::size_t kBlockSize = 16;  // bins
    static constexpr std::size_t kBlocksPerMask = 64;
    static constexpr std::size_t kSmallestCapacity = kBlockSize * kBlocksPerMask;

    template <class T>
    static ZeroedArray<T> makeZeroed(std::size_t size);
    void reserve(std::size_t count);
    // One bit per block.
    std::uint64_t hitsFrom(std::size_t firstBlock) const;

    std::size_t capacity = 0;
    ZeroedArray<int> bins;
    ZeroedArray<std::uint8_t> hit;  // one byte per block, 0 or 1
    std::vector<BinInterval> intervals;
};

}  // namespace lumo::algorithm
