#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "analysis_handle.h"
#include "frame_table.h"

namespace kova_tool {

enum class Intensities { Normalised, Measured };

// The peaks of consecutive scans of one frame, in the layout in which the library returns them. A view into
// the ScanReader that read them: valid until its next read.
class ScanData {
public:
    ScanData() = default;
    ScanData(std::span<const std::uint32_t> resultWords, std::uint32_t begin, std::uint32_t end);

    std::uint32_t firstScan() const { return first; }
    std::span<const std::uint32_t> peakCounts() const { return counts; }
    std::uint64_t peaks() const { return peakWords.size() / 2; }
    std::span<const std::byte> bytes() const { return std::as_bytes(words); }
    std::uint64_t intensitySum() const;

    // Calls visit(scan, indices, intensities) for each scan in order, until it returns false.
    template <class Visitor>
    void forEachScan(Visitor visit) const {
        std::size_t position = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            const std::size_t count = counts[i];
            if (!visit(first + static_cast<std::uint32_t>(i), peakWords.subspan(position, count),
                       peakWords.subspan(position + count, count))) {
                return;
            }
            position += 2 * count;
        }
    }

private:
    std::span<const std::uint32_t> words;
    std::span<const std::uint32_t> counts;
    std::span<const std::uint32_t> peakWords;
    std::uint32_t first = 0;
};

// Reads scans into one buffer that grows to the largest result. Failures of the library are thrown as
// Failure.
class ScanReader {
public:
    // The analysis must outlive the reader.
    explicit ScanReader(const AnalysisHandle& openAnalysis);

    // Scans [begin, end) of a frame; an empty range gives no peaks.
    ScanData read(std::int64_t frame, std::uint32_t begin, std::uint32_t end, Intensities kind);

    // Number of scans of a frame: as the metadata state it, otherwise found out by reading.
    std::uint32_t scanCount(const FrameRow& frame) const;

    // Whether the frame has a scan of this number. Fails if the frame is damaged.
    bool hasScan(std::int64_t frame, std::uint32_t scan) const;

    // Number of scans that the data hold, whatever the metadata state.
    std::uint32_t findScanCount(std::int64_t frame) const;

private:
    void grow(std::size_t wordsNeeded);

    const AnalysisHandle& analysis;
    std::unique_ptr<std::uint32_t[]> buffer;
    std::size_t capacityWords = 0;
};

}  // namespace kova_tool
