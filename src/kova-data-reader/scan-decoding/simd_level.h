#pragma once

namespace lumo::io::kova {

// Forms of the decoding loops, each giving the same bits.
enum class SimdLevel { Scalar, Vector128, Avx2 };

// The widest form that this processor can run, decided once. The environment variable KOVADATA_SIMD ("scalar",
// "vector128" or "avx2") asks for a narrower one.
SimdLevel simdLevel();

}  // namespace lumo::io::kova
