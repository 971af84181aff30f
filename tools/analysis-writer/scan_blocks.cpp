#include "analysis-writer/scan_blocks.h"

#include <limits>

#include "analysis-writer/block.h"
#include "analysis-writer/lzf_stream.h"

// The steps from scans to a block of compression type 1: runs of gaps and intensities, LZF streams, a header
// of offsets. Each can be replaced by a test.
namespace analysis_writer {

namespace {

constexpr std::uint32_t kMaxValue = std::numeric_limits<std::int32_t>::max();

// A gap of 2^31 bins or more takes several values.
void appendGap(std::uint32_t gap, std::vector<std::int32_t>& values) {
    while (gap > 0) {
        const std::uint32_t step = gap < kMaxValue ? gap : kMaxValue;
        values.push_back(-static_cast<std::int32_t>(step));
        gap -= step;
    }
}

}  // namespace

std::vector<std::int32_t> runLengthValues(const Scan& scan) {
    std::vector<std::int32_t> values;
    values.reserve(2 * scan.size());
    std::uint64_t bin = 0;
    for (const Peak& peak : scan) {
        if (peak.index < bin)
            throw std::invalid_argument("peak indices of a scan must ascend");
        if (peak.intensity > kMaxValue)
            throw std::invalid_argument("peak intensity does not fit 31 bits");
        appendGap(static_cast<std::uint32_t>(peak.index - bin), values);
        values.push_back(static_cast<std::int32_t>(peak.intensity));
        bin = std::uint64_t{peak.index} + 1;
    }
    return values;
}

Bytes littleEndian(std::span<const std::int32_t> values) {
    Bytes bytes(4 * values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        storeU32(bytes.data() + 4 * i, static_cast<std::uint32_t>(values[i]));
    }
    return bytes;
}

Bytes valuesStream(std::span<const std::int32_t> values) { return lzfStream(littleEndian(values)); }

Bytes scanStream(const Scan& scan) { return valuesStream(runLengthValues(scan)); }

Bytes scanFrameHeader(std::uint32_t firstWord, std::uint32_t scanCount,
                      std::span<const std::uint32_t> offsets) {
    Bytes header;
    appendU32(header, firstWord);
    appendU32(header, scanCount);
    for (const std::uint32_t offset : offsets)
        appendU32(header, offset);
    return header;
}

Bytes scanFrameBlock(std::span<const Bytes> streams) {
    std::size_t position = kBlockHeaderBytes + 4 * (streams.size() + 1);
    std::vector<std::uint32_t> offsets{fileSize32(position)};
    for (const Bytes& stream : streams) {
        position += stream.size();
        offsets.push_back(fileSize32(position));
    }
    Bytes bytes = scanFrameHeader(offsets.back(), fileSize32(streams.size()), offsets);
    bytes.reserve(position);
    for (const Bytes& stream : streams)
        appendBytes(bytes, stream);
    return bytes;
}

Bytes scanFrameBlock(const Frame& frame) {
    std::vector<Bytes> streams;
    streams.reserve(frame.size());
    for (const Scan& scan : frame)
        streams.push_back(scanStream(scan));
    return scanFrameBlock(streams);
}

}  // namespace analysis_writer
