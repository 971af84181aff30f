#pragma once

#include <cstddef>
#include <span>

namespace lumo::algorithm {

// Bins [begin, end) of a profile.
struct BinInterval {
    std::size_t begin;
    std::size_t end;

    std::size_t size() const { return end - begin; }
};

// A profile of which only some bins can hold anything but 0. Runs are not necessarily as long as they could
// be: one may begin where the one before it ends.
struct SparseProfile {
    std::size_t count;                  // of all bins
    std::span<const BinInterval> runs;  // of occupied bins, ascending and disjoint
    std::span<const int> values;        // of the bins of all runs, one run after the other

    // Whether that is so; for assertions.
    bool isConsistent() const {
        std::size_t end = 0;
        std::size_t bins = 0;
        for (const BinInterval& run : runs) {
            if (run.begin < end || run.end < run.begin) {
                return false;
            }
            end = run.end;
            bins += run.size();
        }
        return end <= count && bins == values.size();
    }
};

}  // namespace lumo::algorithm
