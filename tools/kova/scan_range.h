#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kova_tool {

// Scans [begin, end); without an end, up to the last scan of the frame.
struct ScanRange {
    std::uint32_t begin = 0;
    std::optional<std::uint32_t> end;
};

// Understands "a:b", "a:", ":b", ":" and "a" (one scan). Throws UsageError for anything else.
ScanRange parseScanRange(std::string_view text);

}  // namespace kova_tool
