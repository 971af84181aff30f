#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kovarun/query/mass_axis.h"

namespace lumo::run {

// In which cell of an axis an index is. Indices are taken in blocks so small that no more than one cell ends in
// any of them: a look-up is one entry and one comparison, and the table stays in the processor's cache, which one
// entry per index would not.
class IndexCells {
public:
    // Gives `cells[i]` for the indices of `ranges[i]`, none of which is empty and which do not overlap, and
    // `outside` for all others below `bins`.
    void build(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
               std::uint32_t outside, std::uint32_t bins);

    std::uint32_t operator[](std::uint32_t index) const {
        const Block& block = blocks[index >> shift];
        const std::uint32_t isAfter = index >= block.boundary ? 1 : 0;
        return block.before + (block.step & (0 - isAfter));  // a branch could not be foreseen
    }

private:
    // From an index on.
    struct Part {
        std::uint32_t begin;
        std::uint32_t cell;
    };
    struct alignas(16) Block {
        std::uint32_t boundary;
        std::uint32_t before;
        std::uint32_t step;  // to the cell from the boundary on, modulo 2^32
    };

    void findParts(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
                   std::uint32_t outside);
    bool isEnoughFor(unsigned blockShift) const;

    std::vector<std::uint32_t> order;  // of ranges
    std::vector<Part> parts;           // the first begins at 0
    std::vector<Block> blocks;
    unsigned shift = 0;  // of an index, to the number of its block
};

}  // namespace lumo::run
