#include "scan_reader.h"

#include <kovadata/kova.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <string_view>

#include "failure.h"

namespace kova_tool {
namespace {

constexpr std::size_t kInitialWords = std::size_t{1} << 18;
// Largest result of one call: 0x3FFFFFFF values.
constexpr std::size_t kMaxWords = 0x3FFFFFFF;
constexpr std::uint32_t kMaxScan = std::numeric_limits<std::uint32_t>::max() - 1;

std::uint64_t sum(std::span<const std::uint32_t> values) {
    return std::accumulate(values.begin(), values.end(), std::uint64_t{0});
}

}  // namespace

ScanData::ScanData(std::span<const std::uint32_t> resultWords, std::uint32_t begin, std::uint32_t end)
    : words(resultWords), first(begin) {
    const std::size_t scans = end - begin;
    if (words.size() < scans || words.size() != scans + 2 * sum(words.first(scans))) {
        throw Failure("the peak counts of the scans do not match the size of the result");
    }
    counts = words.first(scans);
    peakWords = words.subspan(scans);
}

std::uint64_t ScanData::intensitySum() const {
    std::uint64_t total = 0;
    forEachScan(
        [&](std::uint32_t, std::span<const std::uint32_t>, std::span<const std::uint32_t> intensities) {
            total += sum(intensities);
            return true;
        });
    return total;
}

ScanReader::ScanReader(const AnalysisHandle& openAnalysis) : analysis(openAnalysis) { grow(kInitialWords); }

ScanData ScanReader::read(std::int64_t frame, std::uint32_t begin, std::uint32_t end, Intensities kind) {
    if (begin == end) {
        return {};
    }
    const auto call = kind == Intensities::Measured ? kova_read_scans_internal : kova_read_scans_v2;
    for (;;) {
        const std::size_t capacityBytes = capacityWords * sizeof(std::uint32_t);
        const std::uint32_t size =
            call(analysis.get(), frame, begin, end, buffer.get(), static_cast<std::uint32_t>(capacityBytes));
        if (size == 0) {
            throw Failure(analysis.lastError());
        }
        const std::size_t sizeWords = size / sizeof(std::uint32_t);
        if (size <= capacityBytes) {
            return {{buffer.get(), sizeWords}, begin, end};
        }
        grow(sizeWords);
    }
}

std::uint32_t ScanReader::scanCount(const FrameRow& frame) const {
    return frame.scans ? *frame.scans : findScanCount(frame.id);
}

bool ScanReader::hasScan(std::int64_t frame, std::uint32_t scan) const {
    if (kova_read_scans_internal(analysis.get(), frame, scan, scan + 1, nullptr, 0) != 0) {
        return true;
    }
    const std::string text = analysis.lastError();
    if (text.ends_with("out of range.")) {
        return false;
    }
    // A scan whose data are damaged exists.
    if (text.starts_with("CorruptScanDataError")) {
        return true;
    }
    throw Failure(text);
}

// The interface has no call for the number of scans, but a frame stays decompressed between calls and asking
// for the size of one scan is cheap: double the step until it is too far, then halve the interval.
std::uint32_t ScanReader::findScanCount(std::int64_t frame) const {
    if (!hasScan(frame, 0)) {
        return 0;
    }
    std::uint32_t there = 0;
    std::uint32_t beyond = 1;
    while (hasScan(frame, beyond)) {
        there = beyond;
        if (beyond > kMaxScan / 2) {
            throw Failure("the number of scans of frame " + std::to_string(frame) + " cannot be found");
        }
        beyond *= 2;
    }
    while (beyond - there > 1) {
        const std::uint32_t middle = there + (beyond - there) / 2;
        (hasScan(frame, middle) ? there : beyond) = middle;
    }
    return beyond;
}

void ScanReader::grow(std::size_t wordsNeeded) {
    const std::size_t words = std::min(std::max(wordsNeeded, capacityWords + capacityWords / 2), kMaxWords);
    buffer.reset();
    capacityWords = 0;
    buffer = std::make_unique_for_overwrite<std::uint32_t[]>(words);
    capacityWords = words;
}

}  // namespace kova_tool
