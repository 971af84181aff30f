#include "kova-data-reader/scan-reading/framewise_storage.h"

#include <algorithm>
#include <stdexcept>

#include "diag/assert.h"
#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/database/frame_info.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "sys/work_counters.h"

// Compression type 2: a frame is one block. Once it is decompressed and the scans asked for are checked,
// nothing can fail any more. So sinks are told how many peaks there can be at most, and may have them decoded
// to their final place.
namespace lumo::io::kova {

std::uint32_t FramewiseStorage::numberOfScans(std::int64_t frameId) {
    return frame.readNumberOfScans(stream, frameId, frames.getFrameInfo(frameId).blobOffset);
}

std::uint32_t FramewiseStorage::loadFrame(std::int64_t frameId) {
    frame.fill(stream, frameId, frames.getFrameInfo(frameId).blobOffset);
    return frame.numberOfScans();
}

void FramewiseStorage::read(const ScanRange& range, const DecodingRules& rules, ScanSink& sink) {
    LUMO_ASSERT(range.begin < range.end);
    loadFrame(range.frameId);
    const LoadedRange loaded{range, checkedPeakBound(range, rules)};
    const FrameScans scans = scansOfFrame(rules);
    sink.start(loaded);
    for (std::uint32_t next = range.begin; next < range.end;) {
        const ScanBatch batch = nextBatch(next, loaded, sink.peaksPerBatch());
        ScanTargets targets = sink.place(batch);
        if (batch.peakBound == 0) {
            targets.advanceOverEmptyScans(batch.size());
        } else {
            const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decoding);
            kernel.decode(scans, batch.begin, batch.end, rules.limit, targets);
        }
        sink.accept(batch, targets);
        next = batch.end;
    }
}

// All scans are checked before the first one is decoded. Where one fails, those before it are decoded to
// nowhere, for the one thing that they leave: the first index beyond the bins is logged, as it is when scans
// are decoded one by one.
std::uint64_t FramewiseStorage::checkedPeakBound(const ScanRange& range, const DecodingRules& rules) const {
    std::uint64_t peakBound = 0;
    std::uint32_t scan = range.begin;
    try {
        // The range may claim billions of scans that the frame does not have, or that have no table.
        const std::uint32_t existingEnd =
            frame.isWithoutPeaks() ? 0 : std::min(range.end, frame.numberOfScans());
        for (; scan < existingEnd; ++scan) {
            checkScan(range, scan);
            peakBound += peakBoundOf(scan);
        }
        if (range.end > frame.numberOfScans()) {
            checkScan(range, std::max(range.begin, frame.numberOfScans()));
        }
    } catch (const std::exception&) {
        if (scan > range.begin) {
            ScanTargets nowhere;
            kernel.decode(scansOfFrame(rules), range.begin, scan, rules.limit, nowhere);
        }
        throw;
    }
    return peakBound;
}

// A peak is two words, a difference of indices and an intensity.
void FramewiseStorage::checkScan(const ScanRange& range, std::uint32_t scan) const {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    frame.get(scan, first, last);
    if ((last - first) % 2 != 0) {
        LUMO_THROW(
            CorruptScanDataError(range.frameId, scan, "number of decompressed entries not an even number."));
    }
}

std::uint64_t FramewiseStorage::peakBoundOf(std::uint32_t scan) const {
    const std::span<const std::uint32_t> starts = frame.scanStarts();
    return (starts[scan + 1] - starts[scan]) / 2;
}

// As many scans as stay within what the sink asks for. A single scan with more is a batch all the same.
ScanBatch FramewiseStorage::nextBatch(std::uint32_t begin, const LoadedRange& loaded,
                                      std::uint64_t peaksPerBatch) const {
    ScanBatch batch{begin, loaded.range.end, *loaded.peakBound};
    if (batch.peakBound <= peaksPerBatch) {
        return batch;
    }
    batch.end = begin;
    batch.peakBound = 0;
    do {
        batch.peakBound += peakBoundOf(batch.end++);
    } while (batch.end < loaded.range.end && batch.peakBound + peakBoundOf(batch.end) <= peaksPerBatch);
    return batch;
}

// Refers to the loaded frame: valid until another one is loaded.
FrameScans FramewiseStorage::scansOfFrame(const DecodingRules& rules) const {
    const ByteBuffer& shuffled = frame.shuffledWords();
    return {shuffled.data(), shuffled.size() / sizeof(std::uint32_t), frame.scanStarts().data(),
            rules.limit.binCount(), rules.scale};
}

std::pair<const std::byte*, std::uint32_t> FramewiseStorage::getScanBlob(std::int64_t, std::uint32_t) {
    LUMO_THROW(std::runtime_error("Unexpected call to getScanBlob for analysis with frame compression"));
}

const ByteBuffer& FramewiseStorage::getDecompressedScanData(std::int64_t frameId, std::uint32_t scan,
                                                            std::uint32_t& start, std::uint32_t& end) {
    loadFrame(frameId);
    return frame.get(scan, start, end);
}

}  // namespace lumo::io::kova
