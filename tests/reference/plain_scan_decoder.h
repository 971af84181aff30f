#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "analysis-writer/frame.h"

// The decoding rules in their plainest form, to hold the fast decoders against.
namespace reference {

inline std::uint32_t scaled(std::uint32_t intensity, std::optional<double> factor) {
    if (!factor) {
        return intensity;
    }
    const double value = static_cast<double>(intensity) * *factor + 0.5;
    if (value != value || value < 0) {
        return 0;
    }
    return value >= 4294967296.0 ? 4294967295U : static_cast<std::uint32_t>(value);
}

inline analysis_writer::Scan decodePairs(const std::vector<std::uint32_t>& words, std::uint32_t bins,
                                         std::optional<double> factor) {
    analysis_writer::Scan peaks;
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
        sum += words[i];
        if (sum - 1 < bins) {
            peaks.push_back({sum - 1, scaled(words[i + 1], factor)});
        }
    }
    return peaks;
}

inline analysis_writer::Scan decodeRuns(const std::vector<std::int32_t>& values, std::uint32_t bins,
                                        std::optional<double> factor) {
    analysis_writer::Scan peaks;
    std::int64_t index = 0;
    for (const std::int32_t value : values) {
        if (value < 0) {
            index -= value;
        } else {
            if (index < bins) {
                peaks.push_back(
                    {static_cast<std::uint32_t>(index), scaled(static_cast<std::uint32_t>(value), factor)});
            }
            ++index;
        }
    }
    return peaks;
}

}  // namespace reference
