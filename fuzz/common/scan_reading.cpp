#include "common/scan_reading.h"

#include <algorithm>

#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/lzf.h"
#include "kova-data-reader/blob/lzf_decoder.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"
#include "kova-data-reader/scan-decoding/run_length_kernel.h"

namespace fuzz {

namespace {

namespace kova = lumo::io::kova;

constexpr std::uint32_t kScansLookedAt = 300;

// Counts peaks and stores them where there is room for so many, which a sanitizer watches.
void decodeInto(std::size_t room, auto&& decode) {
    kova::ScanTargets nowhere;
    decode(nowhere);
    require(nowhere.peaks <= room, "no more peaks than there is room for");
    std::vector<std::byte> indices(4 * room);
    std::vector<std::byte> intensities(4 * room);
    kova::ScanTargets targets{.indices = indices.data(), .intensities = intensities.data()};
    if (room != 0) {
        decode(targets);
        require(targets.peaks == nowhere.peaks, "as many peaks again");
    }
}

}  // namespace

void decodeScans(const kova::KvdFrameReader& frame, std::uint32_t bins, double factor) {
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
            kova::BinLimit limit(bins);
            const kova::IntensityScale scale(factor);
            const std::uint32_t starts[] = {start, end};
            const kova::FrameScans scansOfFrame{buffer.data(), buffer.size() / 4, starts, bins, scale};
            decodeInto((end - start) / 2, [&](kova::ScanTargets& targets) {
                kova::FrameScanKernel().decode(scansOfFrame, 0, 1, limit, targets);
            });
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
    // What is no sequence of whole values is refused before it gets to the kernel.
    const std::span<const std::byte> values = std::span(exact).first(produced / 4 * 4);
    kova::BinLimit limit(bins);
    const kova::IntensityScale scale(factor);
    const kova::RunLengthScan scan{values, kova::countRunLengthPeaks(values), bins, scale};
    decodeInto(scan.peaks,
               [&](kova::ScanTargets& targets) { kova::RunLengthKernel().decode(scan, limit, targets); });
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(exact.data());
    return {bytes, bytes + exact.size()};
}

}  // namespace fuzz
