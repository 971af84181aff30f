#include "kovarun/reductions/index_cells.h"

#include <algorithm>
#include <numeric>

#include "diag/assert.h"

// The table is built in two steps: ranges and what lies between them become parts that follow each other
// without a gap, then the largest size of block is found that no two boundaries share. In the worst case a
// block is one index; the table is then as large as the analysis has indices, and still right.
namespace lumo::run {

namespace {

constexpr unsigned kLargestShift = 10;

}  // namespace

void IndexCells::build(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
                       std::uint32_t outside, std::uint32_t bins) {
    LUMO_ASSERT(bins > 0 && ranges.size() == cells.size());
    findParts(ranges, cells, outside);
    for (shift = kLargestShift; shift > 0 && !isEnoughFor(shift);) {
        --shift;
    }
    blocks.clear();
    std::size_t part = 0;
    for (std::uint64_t block = 0; block <= (bins - 1) >> shift; ++block) {
        // At most one boundary lies in a block. One at its very beginning is no special case: no index of the
        // block is before it.
        const std::uint32_t before = parts[part].cell;
        if (part + 1 < parts.size() && parts[part + 1].begin >> shift == block) {
            ++part;
        }
        blocks.push_back({parts[part].begin, before});
    }
    blocks.push_back({bins, parts[part].cell});
}

void IndexCells::findParts(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
                           std::uint32_t outside) {
    order.resize(ranges.size());
    std::iota(order.begin(), order.end(), 0U);
    std::sort(order.begin(), order.end(),
              [&](std::uint32_t a, std::uint32_t b) { return ranges[a].begin < ranges[b].begin; });
    parts.assign(1, {0, outside});
    for (const std::uint32_t i : order) {
        // A range that begins where another ends takes the place of the empty part between them.
        if (parts.back().begin == ranges[i].begin) {
            parts.back().cell = cells[i];
        } else {
            parts.push_back({ranges[i].begin, cells[i]});
        }
        parts.push_back({ranges[i].end, outside});
    }
}

bool IndexCells::isEnoughFor(unsigned blockShift) const {
    for (std::size_t i = 2; i < parts.size(); ++i) {
        if (parts[i - 1].begin >> blockShift == parts[i].begin >> blockShift) {
            return false;
        }
    }
    return true;
}

}  // namespace lumo::run
