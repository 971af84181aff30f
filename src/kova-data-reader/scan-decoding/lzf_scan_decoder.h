#pragma once

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/scan-decoding/run_length_kernel.h"
#include "kova-data-reader/scan-decoding/scan_decoder.h"

namespace lumo::io::kova {

// Scans that are compressed one by one: each is decompressed into a working buffer, then expanded.
class LzfScanDecoder final : public ScanDecoder, public StepwiseDecoder {
public:
    explicit LzfScanDecoder(KvdReader& source) : reader(source) {}

    PreparedRange prepare(std::int64_t frameId, std::uint32_t begin, std::uint32_t end) override;
    std::size_t load(std::uint32_t scan) override;
    std::size_t decode(const IntensityScale& scale, const PeakOutput& output) override;

private:
    std::size_t decompress(const std::byte* input, std::size_t inputLength, std::uint32_t scan);

    static constexpr std::size_t kInitialBufferSizeBytes = std::size_t{64} * 1024;

    KvdReader& reader;
    std::int64_t frameId = -1;
    ByteBuffer values{kInitialBufferSizeBytes};
    std::size_t decompressedSize = 0;
    std::size_t peaks = 0;  // in it
    RunLengthKernel kernel;
};

}  // namespace lumo::io::kova
