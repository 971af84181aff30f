#include "kovarun/reductions/index_cells.h"

#include <algorithm>
#include <numeric>

#include "diag/assert.h"
#include "sys/cpu.h"

#ifdef __x86_64__
#include <immintrin.h>
#endif

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
    findSteps();
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
        packed.push_back(static_cast<std::uint32_t>(first) << 16 | next);
    }
    blocks.push_back({bins, parts[part].cell});
}

void IndexCells::findParts(std::span<const IndexRange> ranges, std::span<const std::uint32_t> cells) {
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

// Number of a part and boundary share 32 bits, hence the limit.
void IndexCells::findSteps() {
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
}

void IndexCells::places(const PeakBatch& batch, std::span<const std::uint32_t> scanSteps, std::uint32_t base,
                        std::uint32_t* places) const {
#ifdef __x86_64__
    if (areSteps && sys::simdLevel() == sys::SimdLevel::Avx2) {
        placesByEight(batch, scanSteps, base, places);
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

#ifdef __x86_64__

// The last eight of a scan may be fewer: what is loaded is masked, and what is stored beyond them is
// overwritten by the next scan, or lies in the room at the end.
LUMO_AVX2 void IndexCells::placesByEight(const PeakBatch& batch, std::span<const std::uint32_t> scanSteps,
                                         std::uint32_t base, std::uint32_t* places) const {
    const auto* const entries = reinterpret_cast<const int*>(packed.data());
    const __m128i toBlock = _mm_cvtsi32_si128(static_cast<int>(shift));
    const __m256i inBlock = inAllLanes((1U << shift) - 1);
    const __m256i low16 = inAllLanes(0xFFFF);
    const __m256i toFirst = inAllLanes(1 - firstInside);
    const __m256i count = inAllLanes(countInside);
    const __m256i steps = inAllLanes(step);
    const __m256i most = inAllLanes(outside);
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    std::size_t peak = 0;
    for (std::size_t i = 0; i < batch.counts.size(); ++i) {
        const __m256i first = inAllLanes(base + parts[firstInside].cell +
                                         (scanSteps.empty() ? 0 : scanSteps[batch.scanBegin + i]));
        const std::size_t end = peak + batch.counts[i];
        for (; peak < end; peak += 8) {
            const __m256i wanted =
                _mm256_cmpgt_epi32(inAllLanes(static_cast<std::uint32_t>(end - peak)), lanes);
            const __m256i index =
                _mm256_maskload_epi32(reinterpret_cast<const int*>(batch.indices + peak), wanted);
            const __m256i entry = _mm256_i32gather_epi32(entries, _mm256_srl_epi32(index, toBlock), 4);
            const __m256i isBefore =
                _mm256_cmpgt_epi32(_mm256_and_si256(entry, low16), _mm256_and_si256(index, inBlock));
            // The cell's number among those inside; what is before the first is large.
            const __m256i cell =
                _mm256_add_epi32(_mm256_add_epi32(_mm256_srli_epi32(entry, 16), isBefore), toFirst);
            const __m256i isOutside = _mm256_cmpeq_epi32(_mm256_max_epu32(cell, count), cell);
            const __m256i place = _mm256_add_epi32(first, _mm256_mullo_epi32(cell, steps));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(places + peak),
                                _mm256_min_epu32(_mm256_or_si256(place, isOutside), most));
        }
        peak = end;
    }
}

#endif

}  // namespace lumo::run
