#include "zorel-msms-reader/scan_range_decoder.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"

namespace lumo::io::algorithms {

namespace {

struct ScanRange {
    std::uint32_t begin;
    std::uint32_t end;
};

// A range outside of what a scan number can be becomes one that no frame has, and fails like it.
ScanRange toScanNumbers(std::int64_t begin, std::int64_t end) {
    constexpr std::uint32_t kLast = std::numeric_limits<std::uint32_t>::max();
    if (begin < 0 || begin >= kLast) {
        return {kLast - 1, kLast};
    }
    return {static_cast<std::uint32_t>(begin),
            static_cast<std::uint32_t>(std::min<std::int64_t>(end, kLast))};
}

}  // namespace

const ScanRangeDecoder::Frame& ScanRangeDecoder::decode(std::int64_t frameId, std::int64_t begin,
                                                        std::int64_t end) {
    frame.numberOfScans = 0;
    frame.allocateBuffers();
    frame.scanOffsets[0] = 0;
    if (begin >= end) {
        return frame;
    }
    const ScanRange range = toScanNumbers(begin, end);
    const kova::IntensityScale scale =
        makeIntensityScale(reader.getDefaultNormalizationType(),
                           [&]() -> const kova::FrameInfo& { return reader.getFrameInfo(frameId); });
    const kova::PreparedRange prepared = decoder->prepare(frameId, range.begin, range.end);
    if (prepared.isWithoutPeaks) {  // and may claim billions of scans
        return frame;
    }
    frame.numberOfScans = range.end - range.begin;
    if (prepared.direct != nullptr) {
        decodeAtOnce(prepared, scale, range.begin, range.end);
    } else {
        decodeOneByOne(*prepared.stepwise, scale, range.begin, range.end);
    }
    return frame;
}

void ScanRangeDecoder::decodeAtOnce(const kova::PreparedRange& prepared, const kova::IntensityScale& scale,
                                    std::uint32_t begin, std::uint32_t end) {
    frame.allocateBuffers();
    reservePeaks(prepared.peakBound);
    counts.resize(frame.numberOfScans);
    kova::ScanTargets targets{.counts = reinterpret_cast<std::byte*>(counts.data()),
                              .indices = reinterpret_cast<std::byte*>(frame.indices.data()),
                              .intensities = reinterpret_cast<std::byte*>(frame.intensities.data())};
    prepared.direct->decodeRange(begin, end, scale, targets);
    std::inclusive_scan(counts.begin(), counts.end(), frame.scanOffsets.begin() + 1, std::plus<>(),
                        std::uint64_t{0});
}

void ScanRangeDecoder::decodeOneByOne(kova::StepwiseDecoder& scans, const kova::IntensityScale& scale,
                                      std::uint32_t begin, std::uint32_t end) {
    frame.allocateBuffers();
    std::size_t used = 0;
    for (std::uint32_t scan = begin; scan < end; ++scan) {
        reservePeaks(used + scans.load(scan));
        used += scans.decode(scale, {reinterpret_cast<std::byte*>(frame.indices.data() + used),
                                     reinterpret_cast<std::byte*>(frame.intensities.data() + used)});
        frame.scanOffsets[scan - begin + 1] = used;
    }
}

void ScanRangeDecoder::reservePeaks(std::size_t count) {
    constexpr std::size_t kMaxPeaks = kova::limits::kMaxResultValues / 2;
    if (count > kMaxPeaks) {
        LUMO_THROW(std::runtime_error("Maximum decompressed frame size exceeded."));
    }
    if (count > frame.peakCapacity) {
        frame.peakCapacity = std::max(count, std::min(2 * frame.peakCapacity, kMaxPeaks));
        frame.allocateBuffers();
    }
}

}  // namespace lumo::io::algorithms
