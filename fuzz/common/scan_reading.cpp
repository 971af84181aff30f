#include "common/scan_reading.h"

#include <algorithm>
#include <cstring>

#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/lzf.h"
#include "kova-data-reader/blob/lzf_decoder.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"
#include "kova-data-reader/scan-decoding/run_length_kernel.h"
#include "reference/plain_scan_decoder.h"

namespace fuzz {

namespace {

namespace kova = lumo::io::kova;

constexpr std::uint32_t kScansLookedAt = 300;

// `decode` counts peaks and stores them where targets have places, at most `bound` of them.
void requirePeaks(const analysis_writer::Scan& expected, std::size_t bound, auto&& decode) {
    // Apart from each other, so that a write beyond either is seen.
    std::vector<std::byte> indices(4 * bound);
    std::vector<std::byte> intensities(4 * bound);
    kova::ScanTargets nowhere;
    decode(nowhere);
    require(nowhere.peaks == expected.size(), "as many peaks as the plain form");
    require(expected.size() <= bound, "no more peaks than there is room for");
    if (bound == 0) {
        return;
    }
    kova::ScanTargets targets{.indices = indices.data(), .intensities = intensities.data()};
    decode(targets);
    require(targets.peaks == expected.size(), "as many peaks again");
    for (std::size_t i = 0; i < expected.size(); ++i) {
        require(std::memcmp(&expected[i].index, indices.data() + 4 * i, 4) == 0 &&
                    std::memcmp(&expected[i].intensity, intensities.data() + 4 * i, 4) == 0,
                "the peaks of the plain form");
    }
}

void requirePairsLikeThePlainForm(std::span<const std::byte> shuffled, std::uint32_t start, std::uint32_t end,
                                  std::uint32_t bins, double factor) {
    std::vector<std::uint32_t> words;
    for (std::uint32_t i = start; i < end; ++i) {
        words.push_back(kova::decoding::decodeByteShuffling(shuffled, i));
    }
    kova::BinLimit limit(bins);
    const kova::IntensityScale scale(factor);
    const std::uint32_t starts[] = {start, end};
    const kova::FrameScans frame{shuffled.data(), shuffled.size() / 4, starts, bins, scale};
    requirePeaks(
        reference::decodePairs(words, bins, factor), words.size() / 2,
        [&](kova::ScanTargets& targets) { kova::FrameScanKernel().decode(frame, 0, 1, limit, targets); });
}

void requireRunsLikeThePlainForm(std::span<const std::byte> bytes, std::uint32_t bins, double factor) {
    std::vector<std::int32_t> values(bytes.size() / 4);
    if (!values.empty()) {
        std::memcpy(values.data(), bytes.data(), 4 * values.size());
    }
    kova::BinLimit limit(bins);
    const kova::IntensityScale scale(factor);
    const kova::RunLengthScan scan{bytes, kova::countRunLengthPeaks(bytes), bins, scale};
    requirePeaks(reference::decodeRuns(values, bins, factor), values.size(),
                 [&](kova::ScanTargets& targets) { kova::RunLengthKernel().decode(scan, limit, targets); });
}

}  // namespace

void requireScansLikeThePlainForm(const kova::KvdFrameReader& frame, std::uint32_t bins, double factor) {
    std::uint32_t start = 0;
    std::uint32_t end = 0;
    const std::uint32_t scans = std::min(frame.numberOfScans(), kScansLookedAt);
    for (std::uint32_t scan = 0; scan < scans; ++scan) {
        succeeds([&] {
            const kova::ByteBuffer& buffer = frame.get(scan, start, end);
            require(start <= end && end <= buffer.size() / 4, "a scan lies inside its frame");
            // Scans may overlap; one of many thousand words is looked at as well as a thousand of them.
            end = std::min(end, start + 4000);
            end -= (end - start) % 2;
            requirePairsLikeThePlainForm({buffer.data(), buffer.size()}, start, end, bins, factor);
        });
    }
    require(!succeeds([&] { frame.get(frame.numberOfScans(), start, end); }),
            "there is no scan after the last one");
}

void requireSameFromBothLzfDecoders(const std::vector<std::span<const std::byte>>& streams,
                                    std::size_t room) {
    // Each in memory of its own, where a sanitizer sees what is read or written beyond.
    std::vector<std::vector<std::byte>> inputs;
    std::vector<std::vector<std::byte>> outputs;
    std::vector<kova::uimf::LzfStream> together;
    for (const auto& stream : streams) {
        auto& input = inputs.emplace_back(stream.begin(), stream.end());
        input.resize(stream.size() + kova::uimf::kLzfReadAhead, std::byte{0xE0});
        auto& output = outputs.emplace_back(room != 0 ? room : kova::uimf::lzfRoom(stream.size()));
        together.push_back({std::span<const std::byte>(input).first(stream.size()), output});
    }
    kova::uimf::decodeLzfStreams(together);
    for (const kova::uimf::LzfStream& stream : together) {
        if (stream.produced == 0) {
            continue;
        }
        std::vector<std::byte> expected(stream.output.size());
        const std::size_t size = kova::uimf::decompressLzf(stream.input.data(), stream.input.size(),
                                                           expected.data(), expected.size());
        require(size == stream.produced, "as many bytes from both decoders");
        require(std::memcmp(expected.data(), stream.output.data(), size) == 0, "the same bytes from both");
    }
}

std::vector<std::uint8_t> decodeLzfScan(std::span<const std::byte> stream, std::uint32_t bins,
                                        double factor) {
    std::vector<std::byte> output(64);
    std::size_t produced = 0;
    while (produced == 0 && output.size() < kova::limits::kMaxDecompressedScanSizeBytes) {
        output.resize(4 * output.size());
        produced = kova::uimf::decompressLzf(stream.data(), stream.size(), output.data(), output.size());
    }
    require(produced <= output.size(), "no more bytes than there is room for");
    // Once more without a byte to spare, where a sanitizer sees any write beyond.
    std::vector<std::byte> exact(produced);
    if (produced != 0) {
        require(kova::uimf::decompressLzf(stream.data(), stream.size(), exact.data(), produced) == produced,
                "as many bytes again");
    }
    requireRunsLikeThePlainForm(exact, bins, factor);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(exact.data());
    return {bytes, bytes + exact.size()};
}

}  // namespace fuzz
