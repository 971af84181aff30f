#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "kova/run/frame_table.h"

namespace kova_tool {

// The peaks of all scans of a frame with their measured intensities, in the layout in which the library
// returns them. A view into the WholeFrameReader that read them: valid until its next read.
struct ScanData {
    std::span<const std::uint32_t> words;
    std::uint32_t scans = 0;
    std::uint64_t peaks = 0;
    std::uint64_t intensitySum = 0;
};

// Reads frames into one buffer that grows to the largest result. Failures of the library are thrown as
// Failure.
class WholeFrameReader {
public:
    // The run must outlive the reader.
    explicit WholeFrameReader(const Run& openRun) : run(openRun) {}

    // As many scans as the data hold, whatever the metadata state.
    ScanData read(const FrameRow& frame);

    // How many of the scans of a damaged frame can be read. Only where they are compressed one by one can
    // that be some.
    std::uint32_t countGoodScans(std::int64_t frame, std::uint32_t scans) const;

private:
    // The words of the scans below a number; none on failure.
    std::span<const std::uint32_t> readBelow(std::int64_t frame, std::uint32_t end);
    void grow(std::size_t wordsNeeded);

    const Run& run;
    std::unique_ptr<std::uint32_t[]> buffer;
    std::size_t capacityWords = 0;
};

}  // namespace kova_tool
