#include "sys/cpu.h"

#include <algorithm>
#include <atomic>
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

constexpr int kUnknown = -1;

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

// Threads that ask at the same time each find out, and find the same. A static object of the function would
// make them wait for one another, and a child forked meanwhile would wait for ever.
SimdLevel simdLevel() {
    static constinit std::atomic<int> known{kUnknown};
    int level = known.load(std::memory_order_relaxed);
    if (level == kUnknown) {
        level = static_cast<int>(
            simdLevelFor(environmentVariable("KOVADATA_SIMD").value_or(""), widestSimdLevel()));
        known.store(level, std::memory_order_relaxed);
    }
    return static_cast<SimdLevel>(level);
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
