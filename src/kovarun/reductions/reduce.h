#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "diag/throw.h"
#include "kovadata/kvr.h"

namespace lumo::run {

// What becomes of intensities that fall together. Everything begins at 0, whatever the kind, and 0 stands for
// nothing found. A peak may have the intensity 0, too; it changes no sum and no maximum, and is counted.
enum class Reduce { Sum, Max, Count };

// Raises std::invalid_argument.
inline Reduce checkedReduce(std::uint32_t value) {
    if (value > KVR_REDUCE_COUNT) {
        LUMO_THROW(std::invalid_argument("There is no reduction " + std::to_string(value) + "."));
    }
    return static_cast<Reduce>(value);
}

// Sums of 32-bit intensities: 2^32 peaks of the highest intensity still fit into 64 bits.
template <Reduce kind>
inline void reduceInto(std::uint64_t& value, std::uint64_t other) {
    if constexpr (kind == Reduce::Max) {
        value = std::max(value, other);
    } else {
        value += other;
    }
}

// What a single peak counts.
template <Reduce kind>
inline std::uint64_t worthOf(std::uint32_t intensity) {
    if constexpr (kind == Reduce::Count) {
        return 1;
    } else {
        return intensity;
    }
}

template <Reduce kind>
inline std::uint64_t reduced(std::span<const std::uint64_t> values) {
    std::uint64_t value = 0;
    for (const std::uint64_t other : values) {
        reduceInto<kind>(value, other);
    }
    return value;
}

// Calls a function with the kind as a type, so that it can choose a template.
template <class Function>
auto withReduce(Reduce kind, Function&& function) {
    switch (kind) {
        case Reduce::Max:
            return function(std::integral_constant<Reduce, Reduce::Max>());
        case Reduce::Count:
            return function(std::integral_constant<Reduce, Reduce::Count>());
        case Reduce::Sum:
            break;
    }
    return function(std::integral_constant<Reduce, Reduce::Sum>());
}

}  // namespace lumo::run
