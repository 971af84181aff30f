#include "kova/run/last_error.h"

#include <kovadata/kvr.h>

namespace kova_tool {

// The size includes the terminator, which a std::string has anyway.
std::string lastErrorOf(LastErrorFunction function) {
    std::string text(function(nullptr, 0), '\0');
    function(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

std::string lastRunError() { return lastErrorOf(kvr_get_last_error_string); }

}  // namespace kova_tool
