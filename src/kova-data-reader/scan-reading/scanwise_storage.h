#pragma once

#include <istream>
#include <optional>
#include <span>
#include <utility>
#include <vector>

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
    // The run-length code of a scan with which nothing is wrong.
    struct SoundScan {
        std::span<const std::byte> values;
        std::size_t peaks;
    };

    void decompressFrom(const ScanRange& range, std::uint32_t scan);
    void collectSoundScans(std::uint32_t end);
    std::optional<std::uint64_t> peakBoundOf(const ScanRange& range) const;
    ScanBatch nextBatch(std::uint32_t begin, std::uint64_t peaksPerBatch) const;
    void decode(const ScanBatch& batch, const DecodingRules& rules, ScanTargets& targets) const;
    const SoundScan& soundScan(std::uint32_t scan) const { return sound[scan - firstSound]; }
    std::uint32_t soundEnd() const { return firstSound + static_cast<std::uint32_t>(sound.size()); }

    std::span<const std::byte> decompressedAlone(std::int64_t frameId, std::uint32_t scan);
    std::size_t decompress(std::int64_t frameId, std::uint32_t scan, std::span<const std::byte> input);

    static constexpr std::size_t kInitialBufferSizeBytes = std::size_t{64} * 1024;

    std::istream& stream;
    FrameInfoTable& frames;
    KvdReaderCache cache;
    ScanGroup group;
    ByteBuffer values{kInitialBufferSizeBytes};
    std::vector<SoundScan> sound;  // scans from firstSound on; valid until others are decompressed
    std::uint32_t firstSound = 0;
    RunLengthKernel kernel;
};

}  // namespace lumo::io::kova
