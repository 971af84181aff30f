#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace fuzz {

// Two files in one input: the size of the first in kilobytes (16 bits), then both.
struct TwoFiles {
    std::span<const std::uint8_t> first;
    std::span<const std::uint8_t> second;
};

inline TwoFiles splitFiles(std::span<const std::uint8_t> input) {
    if (input.size() < 2) {
        return {};
    }
    const std::size_t kilobytes = input[0] + 256U * input[1];
    const auto both = input.subspan(2);
    const std::size_t size = std::min(1024 * kilobytes, both.size());
    return {both.first(size), both.subspan(size)};
}

inline std::vector<std::uint8_t> joinFiles(const std::vector<std::uint8_t>& first,
                                           const std::vector<std::uint8_t>& second) {
    const std::size_t kilobytes = (first.size() + 1023) / 1024;
    std::vector<std::uint8_t> both(2 + 1024 * kilobytes);
    both[0] = static_cast<std::uint8_t>(kilobytes);
    both[1] = static_cast<std::uint8_t>(kilobytes >> 8);
    std::copy(first.begin(), first.end(), both.begin() + 2);
    both.insert(both.end(), second.begin(), second.end());
    return both;
}

}  // namespace fuzz
