#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"

#include <algorithm>
#include <array>

#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"

namespace lumo::io::kova {

namespace {

// Words are unshuffled a chunk at a time into memory that stays in the first-level cache.
constexpr std::size_t kChunkPeaks = 512;

struct Chunk {
    std::array<std::uint32_t, 2 * kChunkPeaks> words;
    std::array<std::uint32_t, kChunkPeaks> indices;
    std::array<std::uint32_t, kChunkPeaks> intensities;

    // Continues the running sum of index deltas and returns the largest index. Sums wrap in 32 bits as the format's.
    std::uint32_t separate(std::size_t peaks, std::uint32_t& sum) {
        std::uint32_t largest = 0;
        for (std::size_t i = 0; i < peaks; ++i) {
            sum += words[2 * i];
            const std::uint32_t index = sum - 1;
            indices[i] = index;
            largest = std::max(largest, index);
            intensities[i] = words[2 * i + 1];
        }
        return largest;
    }

    // Closes the gaps that indices beyond the limit leave; returns the number of peaks kept.
    std::size_t dropBeyond(BinLimit& limit, std::size_t peaks) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < peaks; ++i) {
            if (indices[i] >= limit.binCount()) {
                limit.reportDropped(indices[i]);
                continue;
            }
            indices[kept] = indices[i];
            intensities[kept] = intensities[i];
            ++kept;
        }
        return kept;
    }

    void scaleIntensities(const IntensityScale& scale, std::size_t peaks) {
        for (std::size_t i = 0; i < peaks; ++i) {
            intensities[i] = scale(intensities[i]);
        }
    }
};

}  // namespace

std::size_t decodeFrameScan(std::span<const std::byte> shuffled, std::uint32_t start, std::uint32_t end,
                            const IntensityScale& scale, BinLimit& limit, const PeakOutput& output) {
    Chunk chunk;
    std::uint32_t sum = 0;
    std::size_t kept = 0;
    std::size_t peaks = 0;
    for (std::size_t word = start; word < end; word += 2 * peaks) {
        peaks = std::min<std::size_t>((end - word) / 2, kChunkPeaks);
        decoding::decodeByteShuffling(shuffled, word, 2 * peaks, chunk.words.data());
        const bool anyBeyond = chunk.separate(peaks, sum) >= limit.binCount();
        const std::size_t keptPeaks = anyBeyond ? chunk.dropBeyond(limit, peaks) : peaks;
        if (!output.isCountOnly()) {
            if (!scale.isIdentity()) {
                chunk.scaleIntensities(scale, keptPeaks);
            }
            output.store(kept, chunk.indices.data(), chunk.intensities.data(), keptPeaks);
        }
        kept += keptPeaks;
    }
    return kept;
}

}  // namespace lumo::io::kova
