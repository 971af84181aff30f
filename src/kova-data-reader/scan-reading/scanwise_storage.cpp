#include "kova-data-reader/scan-reading/scanwise_storage.h"

#include <algorithm>
#include <stdexcept>

#include "diag/assert.h"
#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/lzf.h"
#include "kova-data-reader/database/frame_info.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "sys/work_counters.h"

// Compression type 1: each scan is compressed by itself with LZF, and holds runs of intensities and gaps. A
// scan's size is known only after it was decompressed, and that can fail. So scans are decompressed together,
// and those with which nothing is wrong go to the sink as one batch; what is wrong with one comes out when its
// turn comes and it is decompressed alone. Sparse frames are decompressed at once: if all of their scans are
// sound, sinks are told beforehand how many peaks there can be.
namespace lumo::io::kova {

std::uint32_t ScanwiseStorage::numberOfScans(std::int64_t frameId) {
    cache.ensureFrameHeaderLoaded(stream, frameId, frames.getFrameInfo(frameId).blobOffset);
    return cache.numberOfScans();
}

// The scans of a range follow each other in the file, so one read fetches them all.
void ScanwiseStorage::hintWillReadScanRange(const ScanRange& range) {
    const std::int64_t position = frames.getFrameInfo(range.frameId).blobOffset;
    cache.fillRange(stream, range.frameId, position, range.begin, range.end);
}

void ScanwiseStorage::read(const ScanRange& range, const DecodingRules& rules, ScanSink& sink) {
    LUMO_ASSERT(range.begin < range.end);
    hintWillReadScanRange(range);
    group.clear();
    decompressFrom(range, range.begin);
    sink.start({range, peakBoundOf(range)});
    for (std::uint32_t next = range.begin; next < range.end;) {
        if (next == soundEnd()) {
            decompressFrom(range, next);
        }
        const ScanBatch batch = nextBatch(next, sink.peaksPerBatch());
        ScanTargets targets = sink.place(batch);
        decode(batch, rules, targets);
        sink.accept(batch, targets);
        next = batch.end;
    }
}

// Finds the sound scans from this one on, at least one. Raises what is wrong with the first.
void ScanwiseStorage::decompressFrom(const ScanRange& range, std::uint32_t scan) {
    sound.clear();
    firstSound = scan;
    if (!group.contains(scan)) {
        group.fill(cache, scan, range.end);
    }
    collectSoundScans(range.end);
    if (sound.empty()) {
        const std::span<const std::byte> alone = decompressedAlone(range.frameId, scan);
        sound.push_back({alone, countRunLengthPeaks(alone)});
    }
}

// Those of the group, from `firstSound` up to one that is left to be decompressed alone.
void ScanwiseStorage::collectSoundScans(std::uint32_t end) {
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decoding);
    for (std::uint32_t scan = firstSound; scan < end && group.contains(scan); ++scan) {
        const auto runs = group.get(scan);
        if (!runs || runs->size() % 4 != 0) {
            return;
        }
        sound.push_back({*runs, countRunLengthPeaks(*runs)});
    }
}

// None if scans follow that have not been looked at.
std::optional<std::uint64_t> ScanwiseStorage::peakBoundOf(const ScanRange& range) const {
    if (soundEnd() < range.end) {
        return std::nullopt;
    }
    return nextBatch(range.begin, ScanSink::kWholeRange).peakBound;
}

// As many sound scans as stay within what the sink asks for. A single scan with more is a batch all the same.
ScanBatch ScanwiseStorage::nextBatch(std::uint32_t begin, std::uint64_t peaksPerBatch) const {
    ScanBatch batch{begin, begin, 0};
    do {
        batch.peakBound += soundScan(batch.end++).peaks;
    } while (batch.end < soundEnd() && batch.peakBound + soundScan(batch.end).peaks <= peaksPerBatch);
    return batch;
}

void ScanwiseStorage::decode(const ScanBatch& batch, const DecodingRules& rules, ScanTargets& targets) const {
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decoding);
    RunLengthScan runs{{}, 0, rules.limit.binCount(), rules.scale};
    for (std::uint32_t scan = batch.begin; scan < batch.end; ++scan) {
        runs.values = soundScan(scan).values;
        runs.peaks = soundScan(scan).peaks;
        kernel.decode(runs, rules.limit, targets);
    }
}

std::span<const std::byte> ScanwiseStorage::decompressedAlone(std::int64_t frameId, std::uint32_t scan) {
    const auto [input, length] = getScanBlob(frameId, scan);
    const std::size_t size = length == 0 ? 0 : decompress(frameId, scan, {input, length});
    if (size % 4 != 0) {
        LUMO_THROW(CorruptScanDataError(frameId, scan, "LZF-decompressed size not a multiple of 4."));
    }
    return {values.data(), size};
}

// The size is not stored, so the buffer is doubled until the scan fits. It keeps the size of the largest scan
// so far.
std::size_t ScanwiseStorage::decompress(std::int64_t frameId, std::uint32_t scan,
                                        std::span<const std::byte> input) {
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decompression);
    stopwatch.add(&sys::WorkCounters::blocksDecompressed, 1);
    try {
        std::size_t produced = uimf::decompressLzf(input.data(), input.size(), values.data(), values.size());
        while (produced == 0) {
            if (values.size() == limits::kMaxDecompressedScanSizeBytes) {
                LUMO_THROW(
                    CorruptScanDataError(frameId, scan, "Maximum decompression-buffer size exceeded."));
            }
            values.resize(std::min(2 * values.size() + 1, limits::kMaxDecompressedScanSizeBytes));
            produced = uimf::decompressLzf(input.data(), input.size(), values.data(), values.size());
        }
        return produced;
    } catch (const uimf::InvalidInputStream&) {
        LUMO_THROW(CorruptScanDataError(frameId, scan, "Corrupt LZF input stream."));
    }
}

std::pair<const std::byte*, std::uint32_t> ScanwiseStorage::getScanBlob(std::int64_t frameId,
                                                                        std::uint32_t scan) {
    const std::int64_t position = frames.getFrameInfo(frameId).blobOffset;
    if (!cache.contains(position, scan)) {
        cache.fillScan(stream, frameId, position, scan);
    }
    return cache.get(frameId, scan);
}

const ByteBuffer& ScanwiseStorage::getDecompressedScanData(std::int64_t, std::uint32_t, std::uint32_t&,
                                                           std::uint32_t&) {
    LUMO_THROW(
        std::runtime_error("Unexpected call to getDecompressedScanData for analysis with scan compression"));
}

}  // namespace lumo::io::kova
