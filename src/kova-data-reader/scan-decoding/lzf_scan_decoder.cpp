#include "kova-data-reader/scan-decoding/lzf_scan_decoder.h"

#include <algorithm>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/lzf.h"
#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"

namespace lumo::io::kova {

PreparedRange LzfScanDecoder::prepare(std::int64_t newFrameId, std::uint32_t begin, std::uint32_t end) {
    frameId = newFrameId;
    decompressedSize = 0;
    reader.hintWillReadScanRange(frameId, begin, end);
    return {.stepwise = this};
}

std::size_t LzfScanDecoder::load(std::uint32_t scan) {
    const auto [input, length] = reader.getScanBlob(frameId, scan);
    decompressedSize = length == 0 ? 0 : decompress(input, length, scan);
    if (decompressedSize % 4 != 0) {
        LUMO_THROW(CorruptScanDataError(frameId, scan, "LZF-decompressed size not a multiple of 4."));
    }
    peaks = countRunLengthPeaks({values.data(), decompressedSize});
    return peaks;
}

std::size_t LzfScanDecoder::decompress(const std::byte* input, std::size_t inputLength, std::uint32_t scan) {
    try {
        std::size_t produced = uimf::decompressLzf(input, inputLength, values.data(), values.size());
        while (produced == 0) {
            if (values.size() == limits::kMaxDecompressedScanSizeBytes) {
                LUMO_THROW(
                    CorruptScanDataError(frameId, scan, "Maximum decompression-buffer size exceeded."));
            }
            values.resize(std::min(2 * values.size() + 1, limits::kMaxDecompressedScanSizeBytes));
            produced = uimf::decompressLzf(input, inputLength, values.data(), values.size());
        }
        return produced;
    } catch (const uimf::InvalidInputStream&) {
        LUMO_THROW(CorruptScanDataError(frameId, scan, "Corrupt LZF input stream."));
    }
}

std::size_t LzfScanDecoder::decode(const IntensityScale& scale, const PeakOutput& output) {
    BinLimit& limit = reader.binLimit();
    return kernel.decode({{values.data(), decompressedSize}, peaks, limit.binCount(), scale}, limit, output);
}

}  // namespace lumo::io::kova
