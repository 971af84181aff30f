#pragma once

#include <istream>

#include "kova-data-reader/blob/kvd_frame_reader.h"
#include "kova-data-reader/scan-decoding/frame_scan_kernel.h"
#include "kova-data-reader/scan-reading/scan_storage.h"

namespace lumo::io::kova {

class FrameInfoTable;

// The storage of frames that are compressed as a whole: one frame is kept decompressed, and peaks go from its
// shuffled bytes straight to where the sink wants them.
class FramewiseStorage final : public ScanStorage {
public:
    // Both must outlive it.
    FramewiseStorage(std::istream& blobStream, FrameInfoTable& frameTable)
        : stream(blobStream), frames(frameTable) {}

    std::uint32_t numberOfScans(std::int64_t frameId) override;
    std::uint32_t loadFrame(std::int64_t frameId) override;
    void hintWillReadScanRange(const ScanRange&) override {}
    void read(const ScanRange& range, const DecodingRules& rules, ScanSink& sink) override;
    std::pair<const std::byte*, std::uint32_t> getScanBlob(std::int64_t frameId, std::uint32_t scan) override;
    const ByteBuffer& getDecompressedScanData(std::int64_t frameId, std::uint32_t scan, std::uint32_t& start,
                                              std::uint32_t& end) override;

private:
    std::uint64_t checkedPeakBound(const ScanRange& range, const DecodingRules& rules) const;
    void checkScan(const ScanRange& range, std::uint32_t scan) const;
    std::uint64_t peakBoundOf(std::uint32_t scan) const;
    ScanBatch nextBatch(std::uint32_t begin, const LoadedRange& loaded, std::uint64_t peaksPerBatch) const;
    FrameScans scansOfFrame(const DecodingRules& rules) const;

    std::istream& stream;
    FrameInfoTable& frames;
    KvdFrameReader frame;
    FrameScanKernel kernel;
};

}  // namespace lumo::io::kova
