#include "common/lzf_reading.h"

#include <cstring>

#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/lzf.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "kova-data-reader/scan-decoding/run_length_kernel.h"
#include "reference/plain_scan_decoder.h"

namespace fuzz {

namespace {

namespace kova = lumo::io::kova;

std::vector<std::int32_t> valuesOf(std::span<const std::byte> bytes) {
    std::vector<std::int32_t> values(bytes.size() / 4);
    if (!values.empty()) {
        std::memcpy(values.data(), bytes.data(), 4 * values.size());
    }
    return values;
}

void requireLikeThePlainForm(std::span<const std::byte> bytes, std::uint32_t bins, double factor) {
    kova::BinLimit limit(bins);
    const kova::IntensityScale scale(factor);
    const std::size_t bound = bytes.size() / 4;
    std::vector<std::byte> indices(4 * bound + 4);
    std::vector<std::byte> intensities(4 * bound + 4);
    const kova::RunLengthScan scan{bytes, kova::countRunLengthPeaks(bytes), bins, scale};
    const kova::RunLengthKernel kernel;
    const std::size_t counted = kernel.decode(scan, limit, {});
    const std::size_t stored = kernel.decode(scan, limit, {indices.data(), intensities.data()});
    const analysis_writer::Scan expected = reference::decodeRuns(valuesOf(bytes), bins, factor);
    require(counted == expected.size() && stored == counted, "as many peaks as the plain form");
    for (std::size_t i = 0; i < counted; ++i) {
        require(std::memcmp(&expected[i].index, indices.data() + 4 * i, 4) == 0 &&
                    std::memcmp(&expected[i].intensity, intensities.data() + 4 * i, 4) == 0,
                "the peaks of the plain form");
    }
}

}  // namespace

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
    requireLikeThePlainForm(exact, bins, factor);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(exact.data());
    return {bytes, bytes + exact.size()};
}

}  // namespace fuzz
