#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

namespace lumo::io::kova {
class ByteBuffer;
}

namespace lumo::io::kova::binary {

// Clears what an earlier failure left, then seeks; true when the stream is good afterwards. Clearing first
// keeps the intact blocks readable after any failure.
bool seekTo(std::istream& stream, std::int64_t position);

// True when exactly `size` bytes were read.
bool readExactly(std::istream& stream, std::byte* destination, std::size_t size);

// Reads exactly `size` bytes into a buffer, which then has room for `roomAfter` more. False if the file ends
// before that many; no memory is taken then.
bool readInto(std::istream& stream, ByteBuffer& buffer, std::uint64_t size, std::size_t roomAfter = 0);

// `what` followed by " Current position: ..." and the stream's flags.
std::string seekFailureText(const std::string& what, std::istream& stream);

}  // namespace lumo::io::kova::binary
