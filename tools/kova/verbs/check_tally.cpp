#include "kova/verbs/check_tally.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>

namespace kova_tool {

namespace {

std::uint64_t addBytes(std::span<const std::byte> data, std::uint64_t crc) {
    return crc32_z(crc, reinterpret_cast<const unsigned char*>(data.data()), data.size());
}

}  // namespace

void CheckTally::addNumbers(std::span<const std::byte> data, std::size_t size, std::uint64_t& crc) {
    // zlib takes a null pointer as the request for a first value.
    if (data.empty()) {
        return;
    }
    bytes += data.size();
    if constexpr (std::endian::native == std::endian::little) {
        crc = addBytes(data, crc);
        return;
    }
    for (; !data.empty(); data = data.subspan(size)) {
        std::array<std::byte, sizeof(std::uint64_t)> number{};
        std::reverse_copy(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size), number.begin());
        crc = addBytes(std::span(number).first(size), crc);
    }
}

}  // namespace kova_tool
