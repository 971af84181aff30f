#pragma once

#include <cstdint>
#include <utility>

#include "kova-data-reader/scan-decoding/intensity_scale.h"
#include "kova-data-reader/scan-reading/scan_sink.h"

namespace lumo::io::kova {

class BinLimit;
class ByteBuffer;

// What becomes of stored peaks on the way to a sink: intensities are scaled, and indices beyond the limit are
// dropped.
struct DecodingRules {
    IntensityScale scale;
    BinLimit& limit;
};

// The stored scans of an open analysis. There is one implementation per compression type, chosen when the
// analysis is opened; nothing else asks for the type. Used by one thread at a time; what it returns by
// reference is valid until the next call.
class ScanStorage {
public:
    virtual ~ScanStorage() = default;

    // The number of scans of a frame, from its header. Reads no peaks, and nothing for the frame that is
    // loaded.
    virtual std::uint32_t numberOfScans(std::int64_t frameId) = 0;

    // Makes a frame the loaded one and returns the number of its scans.
    virtual std::uint32_t loadFrame(std::int64_t frameId) = 0;

    // Announces scans that will be read next, so that they are fetched together. A range must not end before
    // it begins.
    virtual void hintWillReadScanRange(const ScanRange& range) = 0;

    // Loads a range that is not empty and decodes it into the sink. Raises what is wrong with the frame and
    // its scans.
    virtual void read(const ScanRange& range, const DecodingRules& rules, ScanSink& sink) = 0;

    // Compressed bytes of one scan, (null, 0) for an empty one. Only where scans are compressed one by one.
    virtual std::pair<const std::byte*, std::uint32_t> getScanBlob(std::int64_t frameId,
                                                                   std::uint32_t scan) = 0;

    // Byte-shuffled words of a frame and the word range [start, end) of one of its scans. Only where frames
    // are compressed as a whole.
    virtual const ByteBuffer& getDecompressedScanData(std::int64_t frameId, std::uint32_t scan,
                                                      std::uint32_t& start, std::uint32_t& end) = 0;
};

}  // namespace lumo::io::kova
