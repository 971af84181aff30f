#include "kova/cli/ranges.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>

#include "kova/cli/number_input.h"
#include "kova/failure.h"

// Ranges as users write them. What is not understood is refused with an example of what would be.
namespace kova_tool {
namespace {

[[noreturn]] void refuse(std::string_view text) {
    throw UsageError("--scans: '" + std::string(text) + "' is not a range of scans such as 10:20");
}

std::uint32_t parseScan(std::string_view text, std::string_view whole) {
    std::uint32_t scan = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), scan);
    if (error != std::errc() || end != text.data() + text.size() ||
        scan == std::numeric_limits<std::uint32_t>::max()) {
        refuse(whole);
    }
    return scan;
}

}  // namespace

ScanSelection parseScanSelection(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        const std::uint32_t scan = parseScan(text, text);
        return {scan, scan + 1};
    }
    ScanSelection range;
    if (colon > 0) {
        range.begin = parseScan(text.substr(0, colon), text);
    }
    if (colon + 1 < text.size()) {
        range.end = parseScan(text.substr(colon + 1), text);
    }
    if (range.end && *range.end <= range.begin) {
        throw UsageError("--scans: '" + std::string(text) + "' holds no scan");
    }
    return range;
}

kvr_range wholeRange() {
    return {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
}

kvr_range parseValueRange(const std::string& option, const std::string& text) {
    const std::size_t colon = text.find(':');
    kvr_range range = wholeRange();
    const auto parse = [&](const std::string& bound, double& value) {
        const std::optional<double> number = bound.empty() ? value : parseNumber(bound);
        if (!number || std::isnan(*number)) {
            throw UsageError(option + ": '" + text + "' is not a range such as 400.5:401");
        }
        value = *number;
    };
    if (colon == std::string::npos) {
        throw UsageError(option + ": '" + text + "' is not a range such as 400.5:401");
    }
    parse(text.substr(0, colon), range.low);
    parse(text.substr(colon + 1), range.high);
    if (range.low > range.high) {
        throw UsageError(option + ": '" + text + "' ends before it begins");
    }
    return range;
}

}  // namespace kova_tool
