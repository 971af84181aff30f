#pragma once

#include <cstddef>
#include <vector>

#include "diag/assert.h"

namespace lumo::algorithm {

// A table of odd smoothing widths that grow with the time-of-flight index, in segments of equal width:
// parallel vectors of first index, last index and width, ascending and without gaps.
//
// It is made from four numbers: tA, tDelay and tBase of the mass calibration give the index at which widths
// start, and D says how fast they grow, by 1 every 2 D indices. Width k (1, 3, 5, ...) ends at index k * 2 D
// + (tA - tDelay) / tBase. The numbers come from a file and may be anything, infinity and NaN included; the
// widths then end early or there are none.
//
// Belongs to one profile and is used by one thread at a time.
template <class Index>
class variableWidth {
public:
    variableWidth() = default;
    variableWidth(double tA, double tDelay, double tBase, double D) : model{tA, tDelay, tBase, D} {}

    // Makes the table for a profile of `n` bins, with some reserve; nothing happens when the table covers
    // them already. Numbers that make no width usable leave it without segments, and it may end before the
    // profile does. Raises std::runtime_error "setWidths() reached maximum width."
    void setWidths(std::size_t n, double tA, double tDelay, double tBase, double D);

    // The same with the numbers that the table has.
    void setWidths(std::size_t n) { setWidths(n, model.tA, model.tDelay, model.tBase, model.D); }

    std::size_t size() const { return width.size(); }
    bool empty() const { return width.empty(); }
    Index startOf(std::size_t segment) const { return entryOf(start, segment); }
    Index endOf(std::size_t segment) const { return entryOf(end, segment); }  // inclusive
    Index widthOf(std::size_t segment) const { return entryOf(width, segment); }
    std::size_t coveredLength() const { return covered; }

    // First index of the first segment that is at least 3 wide; 0 when there is none.
    Index startOfWideSegments() const;

private:
    struct Model {
        double tA = 0.0;
        double tDelay = 0.0;
        double tBase = 0.0;
        double D = 0.0;
    };

    static Index entryOf(const std::vector<Index>& entries, std::size_t segment) {
        LUMO_ASSERT(segment < entries.size());
        return entries[segment];
    }
    void clear();

    std::vector<Index> start;
    std::vector<Index> end;
    std::vector<Index> width;
    std::size_t covered = 0;
    Model model;
};

}  // namespace lumo::algorithm
