// One LZF stream and the run-length code in it; or any run-length values, compressed by the writer. Both
// decoders get it, the fast one in two pieces as well.
#include "analysis-writer/lzf_stream.h"
#include "common/byte_source.h"
#include "common/scan_reading.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    const bool compressedAlready = source.take<std::uint8_t>() % 2 == 0;
    const auto bins = source.take<std::uint32_t>();
    const auto factor = source.take<double>();
    const auto room = source.take<std::uint16_t>();
    const std::size_t cut = source.take<std::uint16_t>();
    const std::vector<std::uint8_t> bytes = source.takeRest();
    if (bytes.empty()) {
        return 0;
    }
    const auto stream = compressedAlready ? bytes : analysis_writer::lzfStream(bytes);
    const auto view = std::as_bytes(std::span(stream));
    fuzz::requireSameFromBothLzfDecoders(
        {view, view.first(cut % view.size()), view.subspan(cut % view.size())}, room);
    if (compressedAlready) {
        fuzz::succeeds([&] { fuzz::decodeLzfScan(view, bins, factor); });
        return 0;
    }
    const auto content = fuzz::decodeLzfScan(view, bins, factor);
    fuzz::require(content == bytes, "what was compressed comes back");
    return 0;
}
