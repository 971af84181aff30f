#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "kova/output/output_buffer.h"

namespace kova_tool {

// One "name  value" line; the values of successive lines stand below each other.
void writeEntry(OutputBuffer& out, std::string_view name, std::string_view value);

// A document of its own, indented. Text that is no valid UTF-8 is shown with replacement characters.
void writeJson(OutputBuffer& out, const nlohmann::ordered_json& document);

// A size for the eye, such as "352.8 KiB".
std::string byteText(std::uint64_t bytes);

}  // namespace kova_tool
