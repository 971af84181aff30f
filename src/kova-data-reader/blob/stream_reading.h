#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

namespace lumo::io::kova::binary {

// Clears what an earlier failure left, then seeks; true when the stream is good afterwards. Clearing first
// keeps the intact blocks readable after any failure.
bool seekTo(std::istream& stream, std::int64_t position);

// True when exactly `size` bytes were read.
bool readExactly(std::istream& stream, std::byte* destination, std::size_t size);

// False when the file ends before `size` more bytes; to be asked before memory is taken for them.
bool holdsAtLeast(std::istream& stream, std::uint64_t size);

// `what` followed by " Current position: ..." and the stream's flags.
std::string seekFailureText(const std::string& what, std::istream& stream);

}  // namespace lumo::io::kova::binary
