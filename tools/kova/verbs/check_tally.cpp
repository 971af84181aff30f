#include "kova/verbs/check_tally.h"

#include <zlib.h>

namespace kova_tool {

void CheckTally::addBytes(std::span<const std::byte> data, std::uint64_t& crc) {
    // zlib takes a null pointer as the request for a first value.
    if (data.empty()) {
        return;
    }
    bytes += data.size();
    crc = crc32_z(crc, reinterpret_cast<const unsigned char*>(data.data()), data.size());
}

}  // namespace kova_tool
