#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "diag/assert.h"
#include "kovarun/query/mass_axis.h"
#include "kovarun/query/scanwise_sink.h"
#include "sys/cpu.h"

namespace lumo::run {

// In which cell of an axis an index is. Indices are taken in blocks of 2^shift, so small that at most one
// boundary between cells lies inside of any of them. A look-up is then one entry and one comparison without a
// branch, and the table stays in the processor's cache, which a table with one entry per index would not.
//
// Cells mostly follow each other in steps of one size, with nothing outside but what is before the first and
// after the last. Then entries need no more than the number of a cell and 16 bits of its boundary, and eight
// are fetched at a time where the processor can.
class IndexCells {
public:
    // Room that places() needs beyond its last place.
    static constexpr std::size_t kRoom = 8;

    explicit IndexCells(sys::SimdLevel wanted = sys::simdLevel()) : level(wanted) {}

    // Gives `cells[i]` for the indices of `ranges[i]`, none of which is empty and which do not overlap, and
    // `cellOutside` for all others below `bins`. Ranges may come in any order and must end at or before `bins`.
    void build(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
               std::uint32_t cellOutside, std::uint32_t bins);

    // Of each peak of a batch: `base`, plus the step of its scan, plus the cell of its index, but never more
    // than the `outside` given to build(). `scanSteps` are those of the frame's scans, or none if all are 0.
    // None of the three summands exceeds 2^30.
    void places(const PeakBatch& batch, std::span<const std::uint32_t> scanSteps, std::uint32_t base,
                std::uint32_t* places) const;

    // Of the table, for whoever keeps it.
    std::size_t bytes() const {
        return sizeof(Part) * parts.size() + (sizeof(Block) + sizeof packed[0]) * blocks.size();
    }

private:
    // For indices below `bins`, which those of decoded peaks always are.
    std::uint32_t operator[](std::uint32_t index) const {
        LUMO_ASSERT((index >> shift) + 1 < blocks.size());
        const Block* const block = &blocks[index >> shift];
        return block[index >= block->boundary ? 1 : 0].before;  // a branch could not be foreseen
    }

    // The cell from an index on, up to the next part.
    struct Part {
        std::uint32_t begin;
        std::uint32_t cell;
    };
    // From the boundary on there is the cell with which the next block begins.
    struct Block {
        std::uint32_t boundary;
        std::uint32_t before;
    };

    void findParts(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells);
    bool isEnoughFor(unsigned blockShift) const;
    void findSteps(std::uint32_t bins);
    std::uint32_t pack(std::size_t part, std::uint32_t next) const;

    sys::SimdLevel level;
    std::vector<Part> parts;    // the first begins at 0
    std::vector<Block> blocks;  // and one more
    unsigned shift = 0;         // of an index, to the number of its block
    std::uint32_t outside = 0;

    // Parts [firstInside, firstInside + countInside) are cells, each `step` after the one before it.
    bool areSteps = false;      // whether that is so
    bool areAllInside = false;  // and nothing but them
    std::uint32_t firstInside = 0;
    std::uint32_t countInside = 0;
    std::uint32_t step = 0;
    // Of each block the number of its first part, then in 16 bits what is missing to the beginning of the next.
    std::vector<std::uint32_t> packed;
};

}  // namespace lumo::run
