#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kova-data-reader/scan-reading/scan_reader.h"
#include "process-frames/data_frame.h"

namespace lumo::io::algorithms {

// Lays decoded scans end to end in a frame buffer, which is reused from call to call and only grows.
class FrameBuffer final : public kova::ScanSink {
public:
    using Frame = lumo::algorithm::DataFrame<int, int>;

    // What was read last.
    const Frame& frame() const { return buffer; }

    void start(const kova::LoadedRange& loaded) override;
    kova::ScanTargets place(const kova::ScanBatch& batch) override;
    void accept(const kova::ScanBatch& batch, const kova::ScanTargets& after) override;

private:
    void reservePeaks(std::uint64_t count);

    Frame buffer;
    std::vector<std::uint32_t> counts;  // peaks per scan of a batch
    std::uint32_t firstScan = 0;
};

// Reads the stripes of precursors: the scans of a frame in which they were fragmented, with the normalisation
// that the analysis implies. The scan reader must outlive it.
class StripeReader {
public:
    explicit StripeReader(kova::ScanReader& scanReader) : scans(scanReader) {}

    // Scans [begin, end), as the precursor's row states them; valid until the next call. Raises what reading
    // them raises.
    const FrameBuffer::Frame& read(std::int64_t frameId, std::int64_t begin, std::int64_t end);

private:
    kova::ScanReader& scans;
    FrameBuffer frameBuffer;
};

}  // namespace lumo::io::algorithms
