#pragma once

#include <filesystem>
#include <string_view>

namespace lumo::sys {

// File-system path with exactly the bytes of `utf8`. Fails with std::runtime_error
// "Invalid UTF-8 code unit at index %1%: %2$#x" on text that is not UTF-8.
std::filesystem::path pathFromUtf8(std::string_view utf8);

}  // namespace lumo::sys
