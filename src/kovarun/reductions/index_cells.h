#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "diag/assert.h"
#include "kovarun/query/mass_axis.h"

namespace lumo::run {

// In which cell of an axis an index is. Indices are taken in blocks of 2^shift, so small that at most one
// boundary between cells lies inside of any of them. A look-up is then one entry and one comparison without a
// branch, and the table stays in the processor's cache, which a table with one entry per index would not.
class IndexCells {
public:
    // Gives `cells[i]` for the indices of `ranges[i]`, none of which is empty and which do not overlap, and
    // `outside` for all others below `bins`. Ranges may come in any order and must end at or before `bins`.
    void build(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
               std::uint32_t outside, std::uint32_t bins);

    // For indices below `bins`, which those of decoded peaks always are.
    std::uint32_t operator[](std::uint32_t index) const {
        LUMO_ASSERT((index >> shift) + 1 < blocks.size());
        const Block* const block = &blocks[index >> shift];
        return block[index >= block->boundary ? 1 : 0].before;  // a branch could not be foreseen
    }

private:
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

    void findParts(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
                   std::uint32_t outside);
    bool isEnoughFor(unsigned blockShift) const;

    std::vector<std::uint32_t> order;  // of ranges
    std::vector<Part> parts;           // the first begins at 0
    std::vector<Block> blocks;         // and one more
    unsigned shift = 0;                // of an index, to the number of its block
};

}  // namespace lumo::run
