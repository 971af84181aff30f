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
// scan's size is known only after it was decompressed, and that can fail. So each scan is a batch of its own,
// and sinks are told that no bound is known beforehand. Scans are decompressed together as long as nothing is
// wrong with them; what is wrong with one comes out when its turn comes and it is decompressed alone.
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
    sink.start({range, std::nullopt});
    for (std::uint32_t scan = range.begin; scan < range.end; ++scan) {
        const std::span<const std::byte> runs = runsOf(range, scan);
        const std::size_t peaks = countRunLengthPeaks(runs);
        const ScanBatch batch{scan, scan + 1, peaks};
        ScanTargets targets = sink.place(batch);
        {
            const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decoding);
            kernel.decode({runs, peaks, rules.limit.binCount(), rules.scale}, rules.limit, targets);
        }
        sink.accept(batch, targets);
    }
}

// Valid until the next scan is asked for.
std::span<const std::byte> ScanwiseStorage::runsOf(const ScanRange& range, std::uint32_t scan) {
    if (!group.contains(scan)) {
        group.fill(cache, scan, range.end);
    }
    const auto grouped = group.contains(scan) ? group.get(scan) : std::nullopt;
    const std::span<const std::byte> runs = grouped ? *grouped : decompressedAlone(range.frameId, scan);
    if (runs.size() % 4 != 0) {
        LUMO_THROW(CorruptScanDataError(range.frameId, scan, "LZF-decompressed size not a multiple of 4."));
    }
    return runs;
}

std::span<const std::byte> ScanwiseStorage::decompressedAlone(std::int64_t frameId, std::uint32_t scan) {
    const auto [input, length] = getScanBlob(frameId, scan);
    const std::size_t size = length == 0 ? 0 : decompress(frameId, scan, {input, length});
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
