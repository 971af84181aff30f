#include "zorel-msms-reader/stripe_reader.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "diag/assert.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"

// Scans of a stripe are decoded one after the other into one buffer. It keeps the size of the largest stripe
// so far, and where each scan begins follows from the counts that the decoder gives.
namespace lumo::io::algorithms {

namespace {

// Scan numbers in the database have 64 bits, those of frames 32. A range that does not fit becomes one that
// no frame has, so it fails with the text for such a range.
kova::ScanRange toScanRange(std::int64_t frameId, std::int64_t begin, std::int64_t end) {
    constexpr std::uint32_t kLast = std::numeric_limits<std::uint32_t>::max();
    if (end < begin) {
        return {frameId, 1, 0};
    }
    if (begin < 0 || begin >= kLast) {
        return {frameId, kLast - 1, begin == end ? kLast - 1 : kLast};
    }
    return {frameId, static_cast<std::uint32_t>(begin),
            static_cast<std::uint32_t>(std::min<std::int64_t>(end, kLast))};
}

}  // namespace

void FrameBuffer::start(const kova::LoadedRange& loaded) {
    // A frame without peaks may claim billions of scans.
    buffer.numberOfScans = loaded.peakBound == 0 ? 0 : loaded.range.size();
    buffer.allocateBuffers();
    buffer.scanOffsets[0] = 0;
    firstScan = loaded.range.begin;
}

// Batches follow each other: this one begins where the offsets of the one before it end.
kova::ScanTargets FrameBuffer::place(const kova::ScanBatch& batch) {
    if (buffer.numberOfScans == 0) {
        return {};
    }
    const std::uint64_t used = buffer.scanOffsets[batch.begin - firstScan];
    reservePeaks(used + batch.peakBound);
    counts.resize(batch.size());
    return {.counts = reinterpret_cast<std::byte*>(counts.data()),
            .indices = reinterpret_cast<std::byte*>(buffer.indices.data() + used),
            .intensities = reinterpret_cast<std::byte*>(buffer.intensities.data() + used)};
}

void FrameBuffer::accept(const kova::ScanBatch& batch, const kova::ScanTargets& /*after*/) {
    if (buffer.numberOfScans == 0) {
        return;
    }
    LUMO_ASSERT(batch.end - firstScan <= buffer.numberOfScans);
    std::uint64_t* offset = buffer.scanOffsets.data() + (batch.begin - firstScan);
    for (const std::uint32_t count : counts) {
        offset[1] = offset[0] + count;
        ++offset;
    }
}

// Doubles, so that stripes that grow slowly do not copy each time; the limit is that of a packed result.
void FrameBuffer::reservePeaks(std::uint64_t count) {
    constexpr std::size_t kMaxPeaks = kova::limits::kMaxResultValues / 2;
    if (count > kMaxPeaks) {
        LUMO_THROW(std::runtime_error("Maximum decompressed frame size exceeded."));
    }
    if (count > buffer.peakCapacity) {
        buffer.peakCapacity = std::max<std::size_t>(count, std::min(2 * buffer.peakCapacity, kMaxPeaks));
        buffer.allocateBuffers();
    }
}

const FrameBuffer::Frame& StripeReader::read(std::int64_t frameId, std::int64_t begin, std::int64_t end) {
    scans.read(toScanRange(frameId, begin, end), kova::NormalizationType::AnalysisDefault, frameBuffer);
    return frameBuffer.frame();
}

}  // namespace lumo::io::algorithms
