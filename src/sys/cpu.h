#pragma once

#include <span>
#include <string_view>

// Marks functions that use the instructions of SimdLevel::Avx2. They are called only where the processor has
// them.
#ifdef __x86_64__
#define LUMO_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#endif

namespace lumo::sys {

// A kernel is a loop that exists in up to three forms: a plain one, which defines the result, one with
// vectors of 128 bits, which every 64-bit processor has, and one with AVX2. All forms give the same bits, so
// that nobody can tell from a result where it was computed.
//
// Which form runs is decided here and nowhere else. Kernels take a level as an argument, with simdLevel() as
// the default, and use the widest form they have that the level allows. So a test can sweep all levels in one
// process, and KOVADATA_SIMD makes a whole process compute like a lesser processor.
//
// With AVX2 come the bit counting instructions: every processor that has the one has the others too.
enum class SimdLevel { Scalar, Vector128, Avx2 };

// All that this processor can run, narrowest first.
std::span<const SimdLevel> supportedSimdLevels();

// The widest of them, unless the environment variable KOVADATA_SIMD ("scalar", "vector128" or "avx2") asks
// for a narrower one. Decided once.
SimdLevel simdLevel();

// What a wish comes to where `widest` is the widest level: never more than that, and that for any other text.
SimdLevel simdLevelFor(std::string_view wish, SimdLevel widest);

}  // namespace lumo::sys
