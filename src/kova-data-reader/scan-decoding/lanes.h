#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// 128-bit vectors in the notation that g++ and clang++ share; every 64-bit processor has instructions for
// them. Arithmetic on unsigned lanes wraps around, as that of the format does. Loads and stores take any
// address.
namespace lumo::io::kova::lanes {

using U16x8 = std::uint16_t __attribute__((vector_size(16)));
using U32x4 = std::uint32_t __attribute__((vector_size(16)));
using U64x2 = std::uint64_t __attribute__((vector_size(16)));
using F64x2 = double __attribute__((vector_size(16)));

template <class Vector>
Vector load(const std::byte* address) {
    Vector vector;
    std::memcpy(&vector, address, sizeof vector);
    return vector;
}

template <class Vector>
void store(std::byte* address, const Vector& vector) {
    std::memcpy(address, &vector, sizeof vector);
}

template <class To, class From>
To reinterpret(const From& from) {
    static_assert(sizeof(To) == sizeof(From));
    return reinterpret_cast<To>(from);
}

// Lane i becomes the sum of lanes 0 ... i, in wrapping arithmetic. Lanes are chosen that follow each other, which is one
// instruction on any processor.
inline U32x4 runningSum(U32x4 v) {
    const U32x4 zero = {};
    v += __builtin_shufflevector(zero, v, 3, 4, 5, 6);
    v += __builtin_shufflevector(zero, v, 2, 3, 4, 5);
    return v;
}

inline U32x4 broadcast(std::uint32_t value) { return U32x4{value, value, value, value}; }

inline bool anySet(const U32x4& mask) {
    const auto halves = reinterpret<U64x2>(mask);
    return (halves[0] | halves[1]) != 0;
}

// IntensityScale for two values at once: integers of 32 bits, given and returned in the low halves of 64-bit
// lanes. There is no instruction that converts unsigned integers to doubles and back; adding 2^52 makes a
// double show its integer part in its low bits. Each step rounds as the plain form does, so the results are
// the same bits.
inline U64x2 scaled(U64x2 values, F64x2 factor) {
    const F64x2 shift = {0x1p52, 0x1p52};
    const F64x2 largest = {4294967295.0, 4294967295.0};
    const F64x2 half = {0.5, 0.5};
    const F64x2 one = {1.0, 1.0};
    const F64x2 zero = {};
    const F64x2 exact = reinterpret<F64x2>(values | reinterpret<U64x2>(shift)) - shift;
    F64x2 x = exact * factor + half;
    x = x >= zero ? x : zero;  // not-a-number compares false
    x = x < largest ? x : largest;
    const F64x2 nearest = (x + shift) - shift;
    const F64x2 floor = nearest > x ? nearest - one : nearest;
    return reinterpret<U64x2>(floor + shift) & U64x2{0xFFFFFFFF, 0xFFFFFFFF};
}

inline U32x4 scaled(const U32x4& values, double factor) {
    const U32x4 zero = {};
    const F64x2 factors = {factor, factor};
    const U64x2 low = scaled(reinterpret<U64x2>(__builtin_shufflevector(values, zero, 0, 4, 1, 5)), factors);
    const U64x2 high = scaled(reinterpret<U64x2>(__builtin_shufflevector(values, zero, 2, 6, 3, 7)), factors);
    return __builtin_shufflevector(reinterpret<U32x4>(low), reinterpret<U32x4>(high), 0, 2, 4, 6);
}

}  // namespace lumo::io::kova::lanes
