// A block of scans that are compressed one by one: header, offsets and LZF streams, bytes as a file has them.
#include <sstream>

#include "common/scan_reading.h"
#include "kova-data-reader/blob/kvd_reader_cache.h"

namespace {

using lumo::io::kova::KvdReaderCache;

void readScan(KvdReaderCache& cache, std::istream& stream, std::uint32_t scan) {
    fuzz::succeeds([&] {
        if (!cache.contains(0, scan)) {
            cache.fillScan(stream, 1, 0, scan);
        }
        const auto [bytes, length] = cache.get(1, scan);
        fuzz::require((length == 0) == (bytes == nullptr), "an empty scan has no bytes");
        if (length != 0) {
            fuzz::decodeLzfScan({bytes, length}, 400'000, 0.37);
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static KvdReaderCache cache;
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    fuzz::succeeds([&] { cache.fillRange(stream, 1, 0, 0, 2); });
    for (std::uint32_t scan = 0; scan < 4; ++scan) {
        readScan(cache, stream, scan);
    }
    fuzz::succeeds([&] { cache.fillRange(stream, 1, 0, 1, 4); });
    for (const std::uint32_t scan : {1U, 3U, 0xFFFFFFFFU}) {
        readScan(cache, stream, scan);
    }
    fuzz::succeeds([&] { cache.ensureFrameHeaderLoaded(stream, 2, -1); });  // the next input starts clean
    return 0;
}
