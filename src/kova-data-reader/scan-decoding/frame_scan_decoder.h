#pragma once

#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"
#include "kova-data-reader/scan-decoding/scan_decoder.h"

namespace lumo::io::kova {

class KvdFrameReader;

// Scans of frames that are compressed as a whole: peaks go from the shuffled buffer straight to their
// destination.
class FrameScanDecoder final : public ScanDecoder, public RangeDecoder {
public:
    explicit FrameScanDecoder(KvdReader& source) : reader(source) {}

    PreparedRange prepare(std::int64_t frameId, std::uint32_t begin, std::uint32_t end) override;
    void decodeRange(std::uint32_t begin, std::uint32_t end, const IntensityScale& scale,
                     ScanTargets& targets) override;
    std::uint64_t countPeaks(std::uint32_t begin, std::uint32_t end) override;

private:
    FrameScans scansOfFrame(const IntensityScale& scale) const;

    KvdReader& reader;
    const KvdFrameReader* frame = nullptr;
    FrameScanKernel kernel;
};

}  // namespace lumo::io::kova
