#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "kova-data-reader/scan-reading/scan_sink.h"
#include "kovarun/query/frame_source.h"
#include "kovarun/run/control.h"

namespace lumo::run {

// Peaks of successive scans, those of each scan together. Valid during the call that gets it.
struct PeakBatch {
    std::uint32_t scanBegin = 0;
    std::span<const std::uint32_t> counts;  // of the peaks of each scan
    const std::uint32_t* indices = nullptr;
    const std::uint32_t* intensities = nullptr;
    std::size_t peaks = 0;
};

// What scans are decoded to. It stays with the reader: clearing it for each frame would cost as much as decoding
// a small one.
struct PeakBuffers final : KeptWithReader {
    static constexpr std::size_t kMostValues = 1 << 18;  // that are kept

    std::vector<std::uint32_t> counts;
    std::vector<std::uint32_t> indices;
    std::vector<std::uint32_t> intensities;
};

// Hands decoded scans to a function of a PeakBatch while they are still in the processor's cache. Scans
// outside of the box are left out. Indices outside of it are not: most users look indices up in tables where
// those lead nowhere.
//
// Where scans are compressed one by one, a later scan may turn out to be corrupt after earlier ones were
// handed over. Where damaged frames are left out, nobody may see part of one; such scans are kept until all of
// them have come. Where a frame is compressed as a whole, nothing can fail any more when decoding starts, so
// nothing needs to be kept.
template <class Use>
class ScanwiseSink final : public io::kova::ScanSink {
public:
    ScanwiseSink(const FrameBox& frameBox, OnDamage onDamage, Use function)
        : ScanSink(kPeaksPerBatch),
          box(frameBox),
          whole(onDamage == OnDamage::LeaveOut),
          use(std::move(function)) {}

    ScanwiseSink(const ScanwiseSink&) = delete;
    ScanwiseSink& operator=(const ScanwiseSink&) = delete;
    // Whatever has happened, the reader is left with no more than is worth it.
    ~ScanwiseSink() override {
        if (buffers != nullptr &&
            std::max(buffers->counts.size(), buffers->indices.size()) > PeakBuffers::kMostValues) {
            *buffers = {};
        }
    }

    // Reads the scans of the box.
    void readFrom(FrameSource& source) {
        buffers = &source.kept<PeakBuffers>();
        source.read(*this);
        if (isKept) {
            handOver(firstScan, firstScan + static_cast<std::uint32_t>(keptScans));
        }
    }

    void start(const io::kova::LoadedRange& loaded) override {
        isKept = whole && !loaded.peakBound;
        firstScan = loaded.range.begin;
        keptScans = keptPeaks = 0;
    }

    // Scans that are kept are decoded one after the other; otherwise every batch goes to the beginning of the
    // buffers.
    io::kova::ScanTargets place(const io::kova::ScanBatch& batch) override {
        if (batch.peakBound == 0 && !isKept) {
            return {};  // such a frame may claim billions of scans
        }
        grow(buffers->counts, keptScans + batch.size());
        grow(buffers->indices, keptPeaks + batch.peakBound);
        grow(buffers->intensities, keptPeaks + batch.peakBound);
        return {.counts = reinterpret_cast<std::byte*>(buffers->counts.data() + keptScans),
                .indices = reinterpret_cast<std::byte*>(buffers->indices.data() + keptPeaks),
                .intensities = reinterpret_cast<std::byte*>(buffers->intensities.data() + keptPeaks)};
    }

    void accept(const io::kova::ScanBatch& batch, const io::kova::ScanTargets& after) override {
        if (isKept) {
            keptScans += batch.size();
            keptPeaks += after.peaks;
        } else if (batch.peakBound != 0) {
            handOver(batch.begin, batch.end);
        }
    }

private:
    static constexpr std::uint64_t kPeaksPerBatch = 4096;  // 32 KB of indices and intensities

    static void grow(std::vector<std::uint32_t>& buffer, std::uint64_t size) {
        if (buffer.size() < size) {
            buffer.resize(size);
        }
    }

    // Hands a batch over in as few calls as its gaps allow: neighbouring scans of the box go together.
    void handOver(std::uint32_t begin, std::uint32_t end) {
        const std::vector<std::uint32_t>& counts = buffers->counts;
        std::size_t first = 0;
        for (std::uint32_t scan = begin; scan < end;) {
            std::uint32_t next = box.areAllScans ? end : scan;
            while (next < end && box.containsScan(next)) {
                ++next;
            }
            const std::span counted(counts.data() + (scan - begin), next - scan);
            const auto peaks = std::accumulate(counted.begin(), counted.end(), std::size_t{0});
            if (peaks != 0) {
                use(PeakBatch{scan, counted, buffers->indices.data() + first,
                              buffers->intensities.data() + first, peaks});
            }
            first += peaks;
            // Scans in a gap are decoded with the others, since the decoder takes whole batches.
            for (scan = next; scan < end && !box.containsScan(scan); ++scan) {
                first += counts[scan - begin];
            }
        }
    }

    const FrameBox& box;
    const bool whole;
    Use use;
    bool isKept = false;  // until the frame is complete
    std::uint32_t firstScan = 0;
    std::uint64_t keptScans = 0;
    std::uint64_t keptPeaks = 0;
    PeakBuffers* buffers = nullptr;
};

}  // namespace lumo::run
