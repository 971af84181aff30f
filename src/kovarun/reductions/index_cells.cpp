#include "kovarun/reductions/index_cells.h"

#include <algorithm>
#include <numeric>

#include "diag/assert.h"
#include "kovarun/reductions/eight_entries.h"

// The table is built in two steps: ranges and what lies between them become parts that follow each other
// without a gap, then the largest size of block is found that no two boundaries share. In the worst case a
// block is one index; the table is then as large as the analysis has indices, and still right.
namespace lumo::run {

namespace {

constexpr unsigned kLargestShift = 10;

#ifdef __x86_64__
LUMO_AVX2 inline __m256i inAllLanes(std::uint32_t value) {
    return _mm256_set1_epi32(static_cast<int>(value));
}

// What IndexCells has for eight look-ups at a time; `first` is the place of the first cell inside, for a scan
// whose step is 0.
struct StepTable {
    const std::uint32_t* entries;
    unsigned shift;
    std::uint32_t firstInside;
    std::uint32_t countInside;
    std::uint32_t step;
    std::uint32_t first;
    std::uint32_t outside;
};

// The same in vectors.
struct EightLookUps {
    LUMO_AVX2 explicit EightLookUps(const StepTable& table)
        : entries(table.entries),
          shift(table.shift),
          inBlock(inAllLanes((1U << table.shift) - 1)),
          firstInside(inAllLanes(table.firstInside)),
          countInside(inAllLanes(table.countInside)),
          step(inAllLanes(table.step)),
          outside(inAllLanes(table.outside)) {}

    template <bool kAllInside>
    LUMO_AVX2 void find(const std::uint32_t* indices, __m256i first, std::uint32_t* places) const {
        const __m256i index = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(indices));
        const __m256i entry = eightEntries(entries, indices, shift);
        __m256i cell = _mm256_srli_epi32(_mm256_add_epi32(entry, _mm256_and_si256(index, inBlock)), 16);
        __m256i isOutside = _mm256_setzero_si256();
        if constexpr (!kAllInside) {
            cell = _mm256_sub_epi32(cell, firstInside);  // what is before the first is large
            isOutside = _mm256_cmpeq_epi32(_mm256_max_epu32(cell, countInside), cell);
        }
        const __m256i place = _mm256_add_epi32(first, _mm256_mullo_epi32(cell, step));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(places),
                            _mm256_min_epu32(_mm256_or_si256(place, isOutside), outside));
    }

    const std::uint32_t* entries;
    unsigned shift;
    __m256i inBlock;
    __m256i firstInside;
    __m256i countInside;
    __m256i step;
    __m256i outside;
};

// The last eight of a scan may be fewer: what is found for those after them is overwritten by the next scan, or
// lies in the room at the end.
template <bool kAllInside>
LUMO_AVX2 void findByEight(const StepTable& table, const PeakBatch& batch,
                           std::span<const std::uint32_t> scanSteps, std::uint32_t* places) {
    const EightLookUps lookUps(table);
    const std::uint32_t* indices = batch.indices;
    const std::uint32_t* const end = indices + batch.peaks;
    for (std::size_t i = 0; i < batch.counts.size(); ++i) {
        const __m256i first =
            inAllLanes(table.first + (scanSteps.empty() ? 0 : scanSteps[batch.scanBegin + i]));
        const std::uint32_t count = batch.counts[i];
        for (std::uint32_t peak = 0; peak < count; peak += 8) {
            if (end - indices - peak >= 8) {
                lookUps.find<kAllInside>(indices + peak, first, places + peak);
            } else {
                std::uint32_t last[8] = {};
                std::copy(indices + peak, end, last);
                lookUps.find<kAllInside>(last, first, places + peak);
            }
        }
        indices += count;
        places += count;
    }
}
#endif

}  // namespace

void IndexCells::build(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells,
                       std::uint32_t cellOutside, std::uint32_t bins) {
    LUMO_ASSERT(bins > 0 && ranges.size() == cells.size());
    outside = cellOutside;
    findParts(ranges, cells);
    for (shift = kLargestShift; shift > 0 && !isEnoughFor(shift);) {
        --shift;
    }
    findSteps(bins);
    blocks.clear();
    packed.clear();
    std::size_t part = 0;
    for (std::uint64_t block = 0; block <= (bins - 1) >> shift; ++block) {
        // At most one boundary lies in a block. One at its very beginning is no special case: no index of the
        // block is before it.
        const std::size_t first = part;
        std::uint32_t next = 1U << shift;  // in the block, where the next part begins
        if (part + 1 < parts.size() && parts[part + 1].begin >> shift == block) {
            next = parts[++part].begin & (next - 1);
        }
        blocks.push_back({parts[part].begin, parts[first].cell});
        packed.push_back(pack(first, next));
    }
    blocks.push_back({bins, parts[part].cell});
}

// What an index adds in the lower half carries into the upper one from the boundary on. A part that begins with
// the block has no boundary in it.
std::uint32_t IndexCells::pack(std::size_t part, std::uint32_t next) const {
    if (next == 0) {
        return pack(part + 1, 1U << shift);
    }
    return (static_cast<std::uint32_t>(part) << 16) + ((1U << 16) - next);
}

void IndexCells::findParts(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells) {
    std::vector<std::uint32_t> order(ranges.size());
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

// Number of a part and boundary share 32 bits, hence the limit.
void IndexCells::findSteps(std::uint32_t bins) {
    const auto isInside = [this](const Part& part) { return part.cell != outside; };
    const auto first = std::find_if(parts.begin(), parts.end(), isInside);
    const auto end = std::find_if_not(first, parts.end(), isInside);
    firstInside = static_cast<std::uint32_t>(first - parts.begin());
    countInside = static_cast<std::uint32_t>(end - first);
    step = countInside > 1 ? first[1].cell - first[0].cell : 0;
    areSteps = countInside > 0 && parts.size() <= 1U << 16 && std::none_of(end, parts.end(), isInside) &&
               std::adjacent_find(first, end, [this](const Part& one, const Part& next) {
                   return next.cell - one.cell != step;
               }) == end;
    areAllInside = firstInside == 0 && (end == parts.end() || end->begin >= bins);
}

void IndexCells::places(const PeakBatch& batch, std::span<const std::uint32_t> scanSteps, std::uint32_t base,
                        std::uint32_t* places) const {
#ifdef __x86_64__
    if (areSteps && level == sys::SimdLevel::Avx2) {
        const StepTable table = {
            packed.data(), shift, firstInside, countInside, step, base + parts[firstInside].cell, outside};
        (areAllInside ? findByEight<true> : findByEight<false>)(table, batch, scanSteps, places);
        return;
    }
#endif
    const std::uint32_t limit = outside;
    std::size_t peak = 0;
    for (std::size_t i = 0; i < batch.counts.size(); ++i) {
        const std::uint32_t ofScan = base + (scanSteps.empty() ? 0 : scanSteps[batch.scanBegin + i]);
        for (const std::size_t end = peak + batch.counts[i]; peak < end; ++peak) {
            places[peak] = std::min(ofScan + (*this)[batch.indices[peak]], limit);
        }
    }
}

}  // namespace lumo::run
