#include "common/frame_reading.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"
#include "reference/plain_scan_decoder.h"

namespace fuzz {

namespace {

namespace kova = lumo::io::kova;

constexpr std::uint32_t kScansLookedAt = 300;

std::vector<std::uint32_t> wordsOf(std::span<const std::byte> shuffled, std::uint32_t start,
                                   std::uint32_t end) {
    std::vector<std::uint32_t> words;
    for (std::uint32_t i = start; i < end; ++i) {
        words.push_back(kova::decoding::decodeByteShuffling(shuffled, i));
    }
    return words;
}

void requireLikeThePlainForm(std::span<const std::byte> shuffled, std::uint32_t start, std::uint32_t end,
                             std::uint32_t bins, double factor) {
    kova::BinLimit limit(bins);
    const kova::IntensityScale scale(factor);
    const std::size_t bound = (end - start) / 2;
    std::vector<std::byte> indices(4 *
                                   bound);  // apart from each other, so that a write beyond either is seen
    std::vector<std::byte> intensities(4 * bound);
    const std::uint32_t starts[] = {start, end};
    const kova::FrameScans frame{shuffled.data(), shuffled.size() / 4, starts, bins, scale};
    const kova::FrameScanKernel kernel;
    const std::size_t counted = kernel.decode(frame, 0, limit, {});
    require(counted <= bound, "no more peaks than pairs");
    const analysis_writer::Scan expected =
        reference::decodePairs(wordsOf(shuffled, start, end), bins, factor);
    require(counted == expected.size(), "as many peaks as the plain form");
    if (bound == 0) {
        return;
    }
    kernel.decode(frame, 0, limit, {.indices = indices.data(), .intensities = intensities.data()});
    for (std::size_t i = 0; i < counted; ++i) {
        require(std::memcmp(&expected[i].index, indices.data() + 4 * i, 4) == 0 &&
                    std::memcmp(&expected[i].intensity, intensities.data() + 4 * i, 4) == 0,
                "the peaks of the plain form");
    }
}

}  // namespace

void requireScansLikeThePlainForm(const kova::KvdFrameReader& frame, std::uint32_t bins, double factor) {
    const std::uint32_t scans = std::min(frame.numberOfScans(), kScansLookedAt);
    for (std::uint32_t scan = 0; scan < scans; ++scan) {
        succeeds([&] {
            std::uint32_t start = 0;
            std::uint32_t end = 0;
            const kova::ByteBuffer& buffer = frame.get(scan, start, end);
            require(start <= end && end <= buffer.size() / 4, "a scan lies inside its frame");
            // Scans may overlap; one of many thousand words is looked at as well as a thousand of them.
            end = std::min(end, start + 4000);
            end -= (end - start) % 2;
            requireLikeThePlainForm({buffer.data(), buffer.size()}, start, end, bins, factor);
        });
    }
    require(!succeeds([&] {
        std::uint32_t start = 0;
        std::uint32_t end = 0;
        frame.get(frame.numberOfScans(), start, end);
    }),
            "there is no scan behind the last one");
}

}  // namespace fuzz
