#pragma once

#include <kovadata/kvr.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kova_tool {

// Scans [begin, end); without an end, up to the last scan of the frame.
struct ScanSelection {
    std::uint32_t begin = 0;
    std::optional<std::uint32_t> end;
};

// Understands "a:b", "a:", ":b", ":" and "a" (one scan). Throws UsageError for anything else.
ScanSelection parseScanSelection(std::string_view text);

// Everything.
kvr_range wholeRange();

// Understands "a:b", "a:", ":b" and ":"; an end that is left out is open. Throws UsageError, which names the
// option, for anything else.
kvr_range parseValueRange(const std::string& option, const std::string& text);

}  // namespace kova_tool
