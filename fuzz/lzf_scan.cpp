// One LZF stream and the run-length code in it; or any run-length values, compressed by the writer.
#include "analysis-writer/lzf_stream.h"
#include "common/byte_source.h"
#include "common/scan_reading.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    const bool compressedAlready = source.take<std::uint8_t>() % 2 == 0;
    const auto bins = source.take<std::uint32_t>();
    const auto factor = source.take<double>();
    const std::vector<std::uint8_t> bytes = source.takeRest();
    if (bytes.empty()) {
        return 0;
    }
    if (compressedAlready) {
        fuzz::succeeds([&] { fuzz::decodeLzfScan(std::as_bytes(std::span(bytes)), bins, factor); });
        return 0;
    }
    const auto stream = analysis_writer::lzfStream(bytes);
    const auto content = fuzz::decodeLzfScan(std::as_bytes(std::span(stream)), bins, factor);
    fuzz::require(content == bytes, "what was compressed comes back");
    return 0;
}
