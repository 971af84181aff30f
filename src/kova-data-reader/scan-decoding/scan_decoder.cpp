#include "kova-data-reader/scan-decoding/scan_decoder.h"

#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-decoding/frame_scan_decoder.h"
#include "kova-data-reader/scan-decoding/lzf_scan_decoder.h"

namespace lumo::io::kova {

std::unique_ptr<ScanDecoder> makeScanDecoder(KvdReader& reader) {
    if (reader.getCompressionType() == CompressionType::Scans) {
        return std::make_unique<LzfScanDecoder>(reader);
    }
    return std::make_unique<FrameScanDecoder>(reader);
}

}  // namespace lumo::io::kova
