#pragma once

#include <span>
#include <string_view>

// Marks functions that use the instructions of SimdLevel::Avx2. They may be called only where the processor
// has them, and from each other.
#ifdef __x86_64__
#define LUMO_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#endif

namespace lumo::sys {

// A kernel is a loop that exists in up to three forms: a plain one, which defines the result, one with
// vectors of 128 bits, which every 64-bit processor has, and one with AVX2. All forms give the same bits, so
// nobody can tell from a result where it was computed.
//
// Which form runs is decided here and nowhere else. Kernels take a level as an argument, with simdLevel() as
// the default, and use the widest form that they have and the level allows. So a test can sweep all levels in
// one process, and KOVADATA_SIMD makes a whole process compute like a lesser processor.
//
// AVX2 stands for the bit counting instructions too: processors that have the one have the others.
enum class SimdLevel { Scalar, Vector128, Avx2 };

// All that this processor can run, narrowest first.
std::span<const SimdLevel> supportedSimdLevels();

// The widest of them, unless the environment variable KOVADATA_SIMD ("scalar", "vector128" or "avx2") asks
// for a narrower one. Decided once.
SimdLevel simdLevel();

// The level for a wish where `widest` is the widest level: never more than that, and `widest` for any text
// that is no level.
SimdLevel simdLevelFor(std::string_view wish, SimdLevel widest);

}  // namespace lumo::sys
