#include "kova-data-reader/scan-decoding/simd_level.h"

#include <bit>
#include <cstdlib>
#include <string_view>

namespace lumo::io::kova {

namespace {

SimdLevel widestLevel() {
    if constexpr (std::endian::native != std::endian::little) {
        return SimdLevel::Scalar;  // the vectors are taken from bytes in memory
    }
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2")) {
        return SimdLevel::Avx2;
    }
#endif
    return SimdLevel::Vector128;
}

SimdLevel chosenLevel() {
    const SimdLevel widest = widestLevel();
    const char* const wish = std::getenv("KOVADATA_SIMD");
    if (wish == nullptr) {
        return widest;
    }
    if (wish == std::string_view("scalar")) {
        return SimdLevel::Scalar;
    }
    return wish == std::string_view("vector128") && widest > SimdLevel::Vector128 ? SimdLevel::Vector128
                                                                                  : widest;
}

}  // namespace

SimdLevel simdLevel() {
    static const SimdLevel level = chosenLevel();
    return level;
}

}  // namespace lumo::io::kova
