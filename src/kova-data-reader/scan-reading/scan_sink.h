#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "kova-data-reader/scan-decoding/scan_targets.h"

namespace lumo::io::kova {

// The scans [begin, end) of one frame.
struct ScanRange {
    std::int64_t frameId = 0;
    std::uint32_t begin = 0;
    std::uint32_t end = 0;

    std::uint64_t size() const { return std::uint64_t{end} - begin; }
};

// A range that is about to be decoded. Everything about it that can be checked beforehand has been checked.
struct LoadedRange {
    ScanRange range;
    // The greatest number of peaks that can come, where nothing can fail any more. Without it, each scan can
    // still turn out to be corrupt; the sink will then have received only the scans before it.
    std::optional<std::uint64_t> peakBound;
};

// Successive scans that are decoded together: as many as the sink wants, or fewer where scans are compressed
// one by one.
struct ScanBatch {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    std::uint64_t peakBound = 0;  // before indices beyond the bins of the analysis are dropped

    std::uint64_t size() const { return std::uint64_t{end} - begin; }
};

// Decides where decoded peaks go. The decoder writes to the places that it is given, so nothing is copied on
// the way; only the sink knows what the peaks are for. Calls come in the order start, then place and accept
// for each batch, batches in the order of scans and without gaps. A sink may throw, which ends the reading.
class ScanSink {
public:
    static constexpr std::uint64_t kWholeRange = std::numeric_limits<std::uint64_t>::max();

    // The greatest number of peaks that a batch should be able to hold; a batch is at least one scan all the
    // same. Small batches stay in the processor's cache until accept() looks at them.
    explicit ScanSink(std::uint64_t mostPeaksOfBatch = kWholeRange) : peaksOfBatch(mostPeaksOfBatch) {}
    virtual ~ScanSink() = default;

    std::uint64_t peaksPerBatch() const { return peaksOfBatch; }

    virtual void start(const LoadedRange& range) = 0;

    // Room for batch.size() counts and batch.peakBound peaks; the decoder may write to all of it. Null
    // addresses are allowed, see ScanTargets. When the bound is 0 the batch may be of billions of scans that
    // the frame only claims to have, so no memory should be taken for counts then.
    virtual ScanTargets place(const ScanBatch& batch) = 0;

    // The batch has been decoded; `after` is what place() returned, moved on.
    virtual void accept(const ScanBatch& batch, const ScanTargets& after) = 0;

private:
    std::uint64_t peaksOfBatch;
};

}  // namespace lumo::io::kova
