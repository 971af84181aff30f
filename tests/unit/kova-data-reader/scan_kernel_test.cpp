#include <algorithm>
#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "analysis-writer/byte_shuffle.h"
#include "analysis-writer/scan_blocks.h"
#include "fixtures/random.h"
#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"
#include "kova-data-reader/scan-decoding/run_length_kernel.h"
#include "reference/plain_scan_decoder.h"

namespace {

using analysis_writer::Scan;
using lumo::io::kova::BinLimit;
using lumo::io::kova::FrameScanKernel;
using lumo::io::kova::FrameScans;
using lumo::io::kova::IntensityScale;
using lumo::io::kova::RunLengthKernel;
using lumo::io::kova::ScanTargets;
using lumo::io::kova::decoding::decodeByteShuffling;
using lumo::sys::SimdLevel;
using lumo::sys::supportedSimdLevels;

constexpr std::optional<double> kFactors[] = {std::nullopt, 1.0, 0.37, 5e9, -1.0, HUGE_VAL, NAN};

IntensityScale scaleOf(std::optional<double> factor) {
    return factor ? IntensityScale(*factor) : IntensityScale();
}

// Decodes to an address that is odd by `misalignment` bytes, with intensities `apart` or right after the indices, and
// checks that nothing beyond the room is touched: that of the peaks kept if `exact`.
template <class Decode>
Scan decodeToPeaks(const Decode& decode, std::size_t bound, std::size_t misalignment, bool apart,
                   bool exact) {
    std::vector<std::byte> memory(8 * bound + 16, std::byte{0x99});
    std::byte* const indices = memory.data() + misalignment;
    ScanTargets targets{.indices = indices, .intensities = apart ? indices + 4 * bound : nullptr};
    decode(targets);
    const std::size_t count = targets.peaks;
    ScanTargets nowhere;
    decode(nowhere);
    EXPECT_EQ(nowhere.peaks, count) << "counting alone must agree";
    const std::byte* const intensities = indices + 4 * (apart ? bound : count);
    Scan peaks(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(&peaks[i].index, indices + 4 * i, 4);
        std::memcpy(&peaks[i].intensity, intensities + 4 * i, 4);
    }
    for (std::size_t i = misalignment + 8 * (exact && !apart ? count : bound); i < memory.size(); ++i) {
        EXPECT_EQ(memory[i], std::byte{0x99});
    }
    return peaks;
}

std::span<const std::byte> asBytes(const analysis_writer::Bytes& bytes) {
    return std::as_bytes(std::span(bytes));
}

TEST(ByteShuffling, WordsInBlocksAreTheWordsOneByOne) {
    fixtures::Random random(13);
    for (std::size_t count = 0; count < 80; ++count) {
        const std::size_t first = random() % 7;
        std::vector<std::uint32_t> words(first + count + random() % 7);
        std::generate(words.begin(), words.end(), [&] { return random(); });
        const analysis_writer::Bytes shuffled = analysis_writer::shuffled(words);
        for (const SimdLevel level : supportedSimdLevels()) {
            std::vector<std::uint32_t> decoded(count + 1, 0x99999999);
            decodeByteShuffling(asBytes(shuffled), first, count, decoded.data(), level);
            ASSERT_TRUE(std::equal(decoded.begin(), decoded.end() - 1,
                                   words.begin() + static_cast<std::ptrdiff_t>(first)))
                << count;
            ASSERT_EQ(decoded.back(), 0x99999999U) << count;
        }
    }
}

TEST(FrameScanKernel, EveryLevelEqualsThePlainFormForAnyWords) {
    fixtures::Random random(11);
    for (int round = 0; round < 3000; ++round) {
        const std::size_t before = random() % 5;
        const std::size_t peaks = round % 10 == 0 ? random() % 3000 : random() % 70;
        std::vector<std::uint32_t> words(before + 2 * peaks + random() % 5);
        const bool wild = random() % 4 == 0;
        for (std::uint32_t& word : words) {
            word = wild ? random() : random.below(300);
        }
        const std::uint32_t bins = random.below(3) == 0 ? random.below(50'000) : random();
        const std::optional<double> factor = kFactors[random() % std::size(kFactors)];
        const analysis_writer::Bytes shuffled = analysis_writer::shuffled(words);
        const std::vector<std::uint32_t> pairs(
            words.begin() + static_cast<std::ptrdiff_t>(before),
            words.begin() + static_cast<std::ptrdiff_t>(before + 2 * peaks));
        const Scan expected = reference::decodePairs(pairs, bins, factor);
        for (const SimdLevel level : supportedSimdLevels()) {
            BinLimit limit(bins);
            const std::uint32_t starts[] = {static_cast<std::uint32_t>(before),
                                            static_cast<std::uint32_t>(before + 2 * peaks)};
            const FrameScans frame{asBytes(shuffled).data(), words.size(), starts, bins, scaleOf(factor)};
            const auto decode = [&](ScanTargets& targets) {
                FrameScanKernel(level).decode(frame, 0, 1, limit, targets);
            };
            ASSERT_EQ(decodeToPeaks(decode, peaks, random() % 8, round % 2 == 0, true), expected)
                << round << ' ' << static_cast<int>(level);
        }
    }
}

TEST(RunLengthKernel, EveryLevelEqualsThePlainFormForAnyValues) {
    fixtures::Random random(12);
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::int32_t> values(random() % 200);
        const bool wild = random() % 2 == 0;
        for (std::int32_t& value : values) {
            value = static_cast<std::int32_t>(random()) >> (wild ? random() % 32 : 24);
        }
        const std::uint32_t bins = wild ? random() >> random.below(32) : 10'000;
        const std::optional<double> factor = kFactors[random() % std::size(kFactors)];
        const analysis_writer::Bytes bytes = analysis_writer::littleEndian(values);
        const Scan expected = reference::decodeRuns(values, bins, factor);
        const std::size_t bound = lumo::io::kova::countRunLengthPeaks(asBytes(bytes));
        for (const SimdLevel level : supportedSimdLevels()) {
            BinLimit limit(bins);
            const auto decode = [&](ScanTargets& targets) {
                RunLengthKernel(level).decode({asBytes(bytes), bound, bins, scaleOf(factor)}, limit, targets);
            };
            ASSERT_EQ(decodeToPeaks(decode, bound, random() % 8, round % 2 == 0, false), expected)
                << round << ' ' << static_cast<int>(level);
        }
    }
}

}  // namespace
