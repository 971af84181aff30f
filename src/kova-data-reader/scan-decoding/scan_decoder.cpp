#include "kova-data-reader/scan-decoding/scan_decoder.h"

#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-decoding/frame_scan_decoder.h"
#include "kova-data-reader/scan-decoding/lzf_scan_decoder.h"
#include "kova-data-reader/scan-decoding/scan_packing.h"

namespace lumo::io::kova {

std::uint64_t ScanDecoder::pack(std::uint32_t begin, std::uint32_t end, const IntensityScale& scale,
                                std::byte* destination) {
    std::byte* target = destination + kWordSize * (end - begin);
    for (std::uint32_t scan = begin; scan < end; ++scan) {
        const std::size_t peaks = packScan(*this, scan, scale, peakBound(scan), target);
        storePeakCount(destination, scan - begin, peaks);
        target += 2 * kWordSize * peaks;
    }
    return static_cast<std::uint64_t>(target - destination) / kWordSize;
}

std::unique_ptr<ScanDecoder> makeScanDecoder(KvdReader& reader) {
    if (reader.getCompressionType() == CompressionType::Scans) {
        return std::make_unique<LzfScanDecoder>(reader);
    }
    return std::make_unique<FrameScanDecoder>(reader);
}

}  // namespace lumo::io::kova
