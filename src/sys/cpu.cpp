#include "sys/cpu.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "sys/environment.h"

// What the processor can do is asked once. The environment may ask for less, so that every form of every
// kernel can be tested on one machine, but never for more.
namespace lumo::sys {

namespace {

// Ascending, and each includes those before it: a machine supports the first so many.
constexpr SimdLevel kLevels[] = {SimdLevel::Scalar, SimdLevel::Vector128, SimdLevel::Avx2};

// As the environment variable spells them.
constexpr std::pair<std::string_view, SimdLevel> kNames[] = {
    {"scalar", SimdLevel::Scalar}, {"vector128", SimdLevel::Vector128}, {"avx2", SimdLevel::Avx2}};

SimdLevel widestSimdLevel() {
    if constexpr (std::endian::native != std::endian::little) {
        return SimdLevel::Scalar;  // vectors are filled from the bytes of little-endian files
    }
#ifdef __x86_64__
    // All that these kernels are compiled for. Emulators and virtual machines may offer one without the
    // others.
    if (__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
        __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("popcnt") != 0) {
        return SimdLevel::Avx2;
    }
#endif
    return SimdLevel::Vector128;
}

}  // namespace

std::span<const SimdLevel> supportedSimdLevels() {
    return std::span(kLevels).first(static_cast<std::size_t>(widestSimdLevel()) + 1);
}

SimdLevel simdLevel() {
    static const SimdLevel kLevel =
        simdLevelFor(environmentVariable("KOVADATA_SIMD").value_or(""), widestSimdLevel());
    return kLevel;
}

SimdLevel simdLevelFor(std::string_view wish, SimdLevel widest) {
    for (const auto& [name, level] : kNames) {
        if (wish == name) {
            return std::min(level, widest);
        }
    }
    return widest;
}

}  // namespace lumo::sys
