#include "kova-data-reader/scan-decoding/scan_range_reader.h"

#include <cstring>
#include <stdexcept>

#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/kvd_reader.h"

namespace lumo::io::kova {

namespace {

constexpr std::size_t kWordSize = sizeof(std::uint32_t);

// Decodes the loaded scan to `target`, which has room for `bound` peaks, and returns the number of peaks.
// Intensities follow the indices, so they move up when peaks were dropped.
std::size_t packScan(StepwiseDecoder& scans, const IntensityScale& scale, std::size_t bound,
                     std::byte* target) {
    const PeakOutput output{target, target + kWordSize * bound};
    const std::size_t peaks = scans.decode(scale, output);
    if (peaks < bound) {
        output.moveIntensitiesTo(target + kWordSize * peaks, peaks);
    }
    return peaks;
}

void storePeakCount(std::byte* counts, std::uint64_t slot, std::size_t peaks) {
    const auto count = static_cast<std::uint32_t>(peaks);
    std::memcpy(counts + kWordSize * slot, &count, kWordSize);
}

void checkResultSize(std::uint64_t values) {
    if (values > limits::kMaxResultValues) {
        LUMO_THROW(std::runtime_error("Maximum decompressed frame size exceeded."));
    }
}

}  // namespace

std::uint64_t ScanRangeReader::read(std::int64_t frameId, std::uint32_t begin, std::uint32_t end,
                                    NormalizationType type, std::span<std::byte> buffer) {
    if (begin >= end) {
        LUMO_THROW(std::invalid_argument("scan_end must be > scan_begin"));
    }
    const Range range{begin, end};
    checkResultSize(range.scans());
    const IntensityScale& scale = scaleOf(frameId, type);
    const PreparedRange prepared = decoder->prepare(frameId, begin, end);
    const std::uint64_t values = prepared.direct != nullptr
                                     ? readDirectly(prepared, range, scale, buffer)
                                     : readStaged(*prepared.stepwise, range, scale, buffer);
    return kWordSize * values;
}

const IntensityScale& ScanRangeReader::scaleOf(std::int64_t frameId, NormalizationType type) {
    if (!lastScale || lastScale->frameId != frameId || lastScale->type != type) {
        const NormalizationType resolved =
            type == NormalizationType::AnalysisDefault ? reader.getDefaultNormalizationType() : type;
        lastScale = {frameId, type, makeIntensityScale(resolved, [&]() -> const FrameInfo& {
                         return reader.getFrameInfo(frameId);
                     })};
    }
    return lastScale->scale;
}

// Peaks are decoded to where they end up, as nothing can fail any more. Only when the buffer might be too
// small they have to be counted first.
std::uint64_t ScanRangeReader::readDirectly(const PreparedRange& prepared, const Range& range,
                                            const IntensityScale& scale, std::span<std::byte> buffer) {
    const std::uint64_t bound = range.scans() + 2 * prepared.peakBound;
    std::uint64_t values = bound;
    if (kWordSize * bound > buffer.size() || bound > limits::kMaxResultValues) {
        values = range.scans() + 2 * prepared.direct->countPeaks(range.begin, range.end);
        checkResultSize(values);
        if (kWordSize * values > buffer.size()) {
            return values;
        }
    }
    if (kWordSize * bound <= buffer.size()) {
        return packInto(buffer.data(), prepared, range, scale);
    }
    staged.resize(kWordSize * bound);
    packInto(staged.data(), prepared, range, scale);
    std::memcpy(buffer.data(), staged.data(), kWordSize * values);
    return values;
}

std::uint64_t ScanRangeReader::packInto(std::byte* destination, const PreparedRange& prepared,
                                        const Range& range, const IntensityScale& scale) {
    if (prepared.isWithoutPeaks) {
        std::memset(destination, 0, kWordSize * range.scans());
        return range.scans();
    }
    ScanTargets targets{.counts = destination, .indices = destination + kWordSize * range.scans()};
    prepared.direct->decodeRange(range.begin, range.end, scale, targets);
    return static_cast<std::uint64_t>(targets.indices - destination) / kWordSize;
}

// A later scan can still turn out to be corrupt, so the result is built aside. Once it has outgrown the
// caller's buffer, the rest is only counted.
std::uint64_t ScanRangeReader::readStaged(StepwiseDecoder& scans, const Range& range,
                                          const IntensityScale& scale, std::span<std::byte> buffer) {
    std::uint64_t values = range.scans();
    staged.resize(kWordSize * values <= buffer.size() ? kWordSize * values : 0);
    for (std::uint32_t scan = range.begin; scan < range.end; ++scan) {
        const std::size_t bound = scans.load(scan);
        std::size_t peaks = 0;
        if (kWordSize * values <= buffer.size()) {
            staged.resize(kWordSize * (values + 2 * bound));
            peaks = packScan(scans, scale, bound, staged.data() + kWordSize * values);
            storePeakCount(staged.data(), scan - range.begin, peaks);
        } else {
            peaks = scans.decode(scale, {});
        }
        values += 2 * peaks;
        checkResultSize(values);
    }
    if (kWordSize * values <= buffer.size()) {
        std::memcpy(buffer.data(), staged.data(), kWordSize * values);
    }
    return values;
}

}  // namespace lumo::io::kova
