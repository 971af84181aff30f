#pragma once

#include <cstddef>
#include <cstdint>

#include "sys/cpu.h"

namespace lumo::run {

// Writes the positions of those indices whose bit is set, ascending, and returns how many they are. There are
// bits for all indices, whole words of them, and `positions` has room for every index.
using FindMarked = std::size_t (*)(const std::uint64_t* bits, const std::uint32_t* indices, std::size_t count,
                                   std::uint32_t* positions);

FindMarked findMarkedBy(sys::SimdLevel level);

}  // namespace lumo::run
