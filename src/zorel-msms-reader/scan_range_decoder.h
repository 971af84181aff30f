#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-decoding/scan_decoder.h"
#include "process-frames/data_frame.h"

namespace lumo::io::algorithms {

// Decodes ranges of scans, with the normalisation that the analysis implies, into one frame buffer that is
// reused for all of them. The reader must outlive it.
class ScanRangeDecoder {
public:
    using Frame = lumo::algorithm::DataFrame<int, int>;

    explicit ScanRangeDecoder(kova::KvdReader& source)
        : reader(source), decoder(kova::makeScanDecoder(source)) {}

    // The scans [begin, end) of a frame; valid until the next call. A range that ends before it begins is
    // empty, whatever the frame. Raises what reading these scans raises.
    const Frame& decode(std::int64_t frameId, std::int64_t begin, std::int64_t end);

private:
    void decodeAtOnce(const kova::PreparedRange& prepared, const kova::IntensityScale& scale,
                      std::uint32_t begin, std::uint32_t end);
    void decodeOneByOne(kova::StepwiseDecoder& scans, const kova::IntensityScale& scale, std::uint32_t begin,
                        std::uint32_t end);
    void reservePeaks(std::size_t count);

    kova::KvdReader& reader;
    std::unique_ptr<kova::ScanDecoder> decoder;
    Frame frame;
    std::vector<std::uint32_t> counts;  // peaks per scan
};

}  // namespace lumo::io::algorithms
