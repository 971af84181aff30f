#pragma once

#include <cstdint>
#include <span>

namespace lumo::algorithm {

struct RunningSum {
    std::int32_t total;  // wraps in 32 bits
    std::int32_t signs;  // negative when a value or a sum was
};

// Writes the sum up to each value, begun with `total`, to `sums`.
RunningSum sumUp(std::span<const int> values, std::int32_t total, std::int32_t* sums);

}  // namespace lumo::algorithm
