#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "kova-data-reader/scan-decoding/normalization.h"
#include "kova-data-reader/scan-decoding/peak_output.h"
#include "kova-data-reader/scan-decoding/scan_targets.h"

namespace lumo::io::kova {

class KvdReader;

// Decodes scans of a range that is prepared, and of which nothing is left that could fail.
class RangeDecoder {
public:
    virtual ~RangeDecoder() = default;

    // Stores the peaks of the scans [begin, end) of the range, for whose bound there is room, and moves the
    // targets behind them.
    virtual void decodeRange(std::uint32_t begin, std::uint32_t end, const IntensityScale& scale,
                             ScanTargets& targets) = 0;
};

// What is known of a range of scans before any of them is decoded.
struct PreparedRange {
    // True only if it has none.
    bool isWithoutPeaks = false;
    // Where nothing can fail any more because nothing is left to be decompressed; else null.
    RangeDecoder* direct = nullptr;
    // In that case, the number of peaks before the bin limit is applied.
    std::uint64_t peakBound = 0;
};

// Turns stored scans into peaks, one scan of a prepared range after the other. One implementation per storage
// scheme. Use: prepare(range), then for each scan of it in order peakBound(scan) and decode(scan).
class ScanDecoder {
public:
    virtual ~ScanDecoder() = default;

    // Loads what the scans [begin, end) need and raises what is wrong with their bounds.
    virtual PreparedRange prepare(std::int64_t frameId, std::uint32_t begin, std::uint32_t end) = 0;

    // The number of peaks of a scan before the bin limit is applied, and so the room that decode() needs.
    virtual std::size_t peakBound(std::uint32_t scan) = 0;

    // Stores the peaks of the scan that peakBound() was last called for and returns how many they are.
    virtual std::size_t decode(std::uint32_t scan, const IntensityScale& scale, const PeakOutput& output) = 0;
};

// The decoder for the reader's storage scheme. The reader must outlive it.
std::unique_ptr<ScanDecoder> makeScanDecoder(KvdReader& reader);

}  // namespace lumo::io::kova
