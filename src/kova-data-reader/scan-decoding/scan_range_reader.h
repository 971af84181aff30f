#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/scan-decoding/scan_decoder.h"

namespace lumo::io::kova {

// Packs the peaks of a range of scans into one buffer of 32-bit words: the peak count of each scan, then for
// each scan its indices and its intensities.
class ScanRangeReader {
public:
    // The reader must outlive it.
    explicit ScanRangeReader(KvdReader& source) : reader(source), decoder(makeScanDecoder(source)) {}

    // Returns the size in bytes that the result needs; it is written only when it fits `buffer`. Nothing is
    // written when the call fails.
    std::uint64_t read(std::int64_t frameId, std::uint32_t begin, std::uint32_t end, NormalizationType type,
                       std::span<std::byte> buffer);

private:
    struct Range {
        std::uint32_t begin;
        std::uint32_t end;
        std::uint64_t scans() const { return end - begin; }
    };

    // The scale of a frame does not change, so that of the last call is kept.
    struct FrameScale {
        std::int64_t frameId;
        NormalizationType type;
        IntensityScale scale;
    };

    const IntensityScale& scaleOf(std::int64_t frameId, NormalizationType type);
    std::uint64_t readDirectly(const PreparedRange& prepared, const Range& range, const IntensityScale& scale,
                               std::span<std::byte> buffer);
    std::uint64_t readStaged(StepwiseDecoder& scans, const Range& range, const IntensityScale& scale,
                             std::span<std::byte> buffer);
    static std::uint64_t packInto(std::byte* destination, const PreparedRange& prepared, const Range& range,
                                  const IntensityScale& scale);

    KvdReader& reader;
    std::unique_ptr<ScanDecoder> decoder;
    std::optional<FrameScale> lastScale;
    ByteBuffer staged;
};

}  // namespace lumo::io::kova
