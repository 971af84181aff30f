#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "kova-data-reader/scan-decoding/normalization.h"
#include "kova-data-reader/scan-decoding/peak_output.h"
#include "kova-data-reader/scan-decoding/scan_targets.h"

namespace lumo::io::kova {

class KvdReader;

// Decodes scans of a prepared range of which nothing is left that could fail.
class RangeDecoder {
public:
    virtual ~RangeDecoder() = default;

    // Stores the peaks of the scans [begin, end) of the range, for whose bound there is room, and moves the
    // targets behind them.
    virtual void decodeRange(std::uint32_t begin, std::uint32_t end, const IntensityScale& scale,
                             ScanTargets& targets) = 0;

    // How many peaks that would be.
    virtual std::uint64_t countPeaks(std::uint32_t begin, std::uint32_t end) = 0;
};

// Decodes one scan of a prepared range after the other, each of which may turn out to be corrupt.
class StepwiseDecoder {
public:
    virtual ~StepwiseDecoder() = default;

    // Decompresses a scan. Returns the number of its peaks before the bin limit is applied, and so the room
    // that decode() needs.
    virtual std::size_t load(std::uint32_t scan) = 0;

    // Stores the peaks of the loaded scan and returns how many they are.
    virtual std::size_t decode(const IntensityScale& scale, const PeakOutput& output) = 0;
};

// What is known of a range of scans before any of them is decoded, and what decodes them.
struct PreparedRange {
    // True only if it has none.
    bool isWithoutPeaks = false;
    // One of the two.
    RangeDecoder* direct = nullptr;
    StepwiseDecoder* stepwise = nullptr;
    // With a direct decoder, the number of peaks before the bin limit is applied.
    std::uint64_t peakBound = 0;
};

// Turns stored scans into peaks. One implementation per storage scheme.
class ScanDecoder {
public:
    virtual ~ScanDecoder() = default;

    // Loads what the scans [begin, end) need and raises what is wrong with their bounds. Valid until the next
    // call.
    virtual PreparedRange prepare(std::int64_t frameId, std::uint32_t begin, std::uint32_t end) = 0;
};

// The decoder for the reader's storage scheme. The reader must outlive it.
std::unique_ptr<ScanDecoder> makeScanDecoder(KvdReader& reader);

}  // namespace lumo::io::kova
