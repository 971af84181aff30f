// A block of a frame that is compressed as a whole, bytes as a file has them.
#include <sstream>

#include "common/scan_reading.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static lumo::io::kova::KvdFrameReader reader;  // its buffers are as long-lived as in an open analysis
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    if (fuzz::succeeds([&] { reader.fill(stream, 1, 0); })) {
        fuzz::decodeScans(reader, 400'000, 0.37);
    }
    reader.fill(stream, 2, -1);
    fuzz::require(reader.numberOfScans() == 0, "a frame without data has no scans");
    return 0;
}
