#include "kova/run/whole_frame_reader.h"

#include <kovadata/kova.h>

#include <algorithm>
#include <numeric>

#include "kova/failure.h"

namespace kova_tool {
namespace {

constexpr std::size_t kInitialWords = std::size_t{1} << 18;
// Largest result of one call: 0x3FFFFFFF values.
constexpr std::size_t kMaxWords = 0x3FFFFFFF;

std::uint64_t sum(std::span<const std::uint32_t> values) {
    return std::accumulate(values.begin(), values.end(), std::uint64_t{0});
}

// The counts of the scans, then the indices and the intensities of each scan.
ScanData counted(std::span<const std::uint32_t> words, std::uint32_t scans) {
    ScanData data{words, scans};
    if (words.size() < scans || words.size() != scans + 2 * sum(words.first(scans))) {
        throw Failure("the peak counts of the scans do not match the size of the result");
    }
    data.peaks = (words.size() - scans) / 2;
    std::size_t place = scans;
    for (const std::uint32_t count : words.first(scans)) {
        data.intensitySum += sum(words.subspan(place + count, count));
        place += std::size_t{2} * count;
    }
    return data;
}

bool holdsScan(const Run& run, std::int64_t frame, std::uint32_t scan) {
    return kova_read_scans_internal(run.handle(), frame, scan, scan + 1, nullptr, 0) != 0;
}

}  // namespace

// The stated number is mostly right, and asking whether there is one scan more costs nothing then: the frame
// is loaded.
ScanData WholeFrameReader::read(const FrameRow& frame) {
    if (const std::uint32_t stated = frame.scans.value_or(0); stated != 0 && stated != UINT32_MAX) {
        const auto words = readBelow(frame.id, stated);
        if (!words.empty() && !holdsScan(run, frame.id, stated)) {
            return counted(words, stated);
        }
    }
    const std::uint32_t scans = run.countScans(frame.id);
    if (scans == 0) {
        return {};
    }
    const auto words = readBelow(frame.id, scans);
    if (words.empty()) {
        throw Failure(run.lastHandleError());
    }
    return counted(words, scans);
}

std::uint32_t WholeFrameReader::countGoodScans(std::int64_t frame, std::uint32_t scans) const {
    std::uint32_t good = 0;
    for (std::uint32_t scan = 0; scan < scans; ++scan) {
        good += holdsScan(run, frame, scan) ? 1U : 0U;
    }
    return good;
}

std::span<const std::uint32_t> WholeFrameReader::readBelow(std::int64_t frame, std::uint32_t end) {
    grow(kInitialWords);
    for (;;) {
        const std::size_t capacityBytes = capacityWords * sizeof(std::uint32_t);
        const std::uint32_t size = kova_read_scans_internal(run.handle(), frame, 0, end, buffer.get(),
                                                            static_cast<std::uint32_t>(capacityBytes));
        if (size <= capacityBytes) {
            return {buffer.get(), size / sizeof(std::uint32_t)};
        }
        grow(size / sizeof(std::uint32_t));
    }
}

void WholeFrameReader::grow(std::size_t wordsNeeded) {
    if (wordsNeeded <= capacityWords) {
        return;
    }
    const std::size_t words = std::min(std::max(wordsNeeded, capacityWords + capacityWords / 2), kMaxWords);
    buffer.reset();
    capacityWords = 0;
    buffer = std::make_unique_for_overwrite<std::uint32_t[]>(words);
    capacityWords = words;
}

}  // namespace kova_tool
