#pragma once

#include <cstddef>
#include <stdexcept>

namespace lumo::io::kova::uimf {

// The stream itself is corrupt, as opposed to arguments that make no sense.
class InvalidInputStream : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// Decompresses one LZF stream and returns the number of bytes produced; 0 means that the output is too small,
// so the caller tries again with more room: LZF does not record the size. Raises InvalidInputStream "Invalid
// input stream" for a corrupt stream and std::invalid_argument for impossible arguments.
std::size_t decompressLzf(const std::byte* input, std::size_t inputLength, std::byte* output,
                          std::size_t outputCapacity);

}  // namespace lumo::io::kova::uimf
