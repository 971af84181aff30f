#pragma once

#include <istream>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/blob/kvd_reader_cache.h"
#include "kova-data-reader/blob/scan_group.h"
#include "kova-data-reader/scan-decoding/run_length_kernel.h"
#include "kova-data-reader/scan-reading/scan_storage.h"

namespace lumo::io::kova {

class FrameInfoTable;

// The storage of scans that are compressed one by one. A range's compressed bytes are fetched with one read and
// decompressed some scans at a time; then the runs of each are expanded to where the sink wants them.
class ScanwiseStorage final : public ScanStorage {
public:
    // Both must outlive it.
    ScanwiseStorage(std::istream& blobStream, FrameInfoTable& frameTable)
        : stream(blobStream), frames(frameTable) {}

    std::uint32_t numberOfScans(std::int64_t frameId) override;
    std::uint32_t loadFrame(std::int64_t frameId) override { return numberOfScans(frameId); }
    void hintWillReadScanRange(const ScanRange& range) override;
    void read(const ScanRange& range, const DecodingRules& rules, ScanSink& sink) override;
    std::pair<const std::byte*, std::uint32_t> getScanBlob(std::int64_t frameId, std::uint32_t scan) override;
    const ByteBuffer& getDecompressedScanData(std::int64_t frameId, std::uint32_t scan, std::uint32_t& start,
                                              std::uint32_t& end) override;

private:
    std::span<const std::byte> runsOf(const ScanRange& range, std::uint32_t scan);
    std::span<const std::byte> decompressedAlone(std::int64_t frameId, std::uint32_t scan);
    std::size_t decompress(std::int64_t frameId, std::uint32_t scan, std::span<const std::byte> input);

    static constexpr std::size_t kInitialBufferSizeBytes = std::size_t{64} * 1024;

    std::istream& stream;
    FrameInfoTable& frames;
    KvdReaderCache cache;
    ScanGroup group;
    ByteBuffer values{kInitialBufferSizeBytes};
    RunLengthKernel kernel;
};

}  // namespace lumo::io::kova
