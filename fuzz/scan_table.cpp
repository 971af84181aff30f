// Any words, scan count and bin limit in a block that is well-formed otherwise: scan tables and pairs.
#include <sstream>

#include "analysis-writer/frame_block.h"
#include "common/byte_source.h"
#include "common/scan_reading.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static lumo::io::kova::KvdFrameReader reader;
    fuzz::ByteSource source(data, size);
    const auto scans = source.take<std::uint32_t>();
    const auto bins = source.take<std::uint32_t>();
    const auto factor = source.take<double>();
    const auto words = source.takeMany<std::uint32_t>(1 << 16);
    const analysis_writer::Bytes block = analysis_writer::wordsBlock(words, scans);
    std::istringstream stream(std::string(block.begin(), block.end()));
    const std::string failure = fuzz::failureOf([&] { reader.fill(stream, 1, 0); });
    fuzz::require(failure.empty() == (scans <= words.size()), "a frame has at least a word for each scan");
    if (failure.empty()) {
        fuzz::decodeScans(reader, bins, factor);
    }
    reader.fill(stream, 2, -1);
    return 0;
}
