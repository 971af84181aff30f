/**
 * @file conversions.hpp
 * Conversions of arrays, and of collisional cross sections, which need no analysis. Part of kovadata.hpp, whose
 * conventions hold here; usable alone.
 */
#ifndef KOVADATA_CONVERSIONS_HPP
#define KOVADATA_CONVERSIONS_HPP

#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "error.hpp"
#include "kova.h"

namespace kova {

namespace detail {

using Convert = std::uint32_t (*)(std::uint64_t, std::int64_t, const double*, double*, std::uint32_t);

template <Convert function, auto failWith = &fail>
void convert(std::uint64_t handle, std::int64_t id, std::span<const double> in, std::span<double> out) {
    if (in.size() != out.size()) {
        throw std::invalid_argument("Input and output of a conversion differ in size.");
    }
    if (function(handle, id, in.data(), out.data(), checkedCount(in.size())) == 0) {
        failWith();
    }
}

template <Convert function, auto failWith = &fail>
void convertIntegers(std::uint64_t handle, std::int64_t id, std::span<const std::uint32_t> in,
                     std::span<double> out) {
    if (in.size() != out.size()) {
        throw std::invalid_argument("Input and output of a conversion differ in size.");
    }
    std::copy(in.begin(), in.end(), out.begin());
    convert<function, failWith>(handle, id, out, out);
}

template <Convert function, auto failWith = &fail>
double convertOne(std::uint64_t handle, std::int64_t id, double value) {
    double result = 0.0;
    if (function(handle, id, &value, &result, 1) == 0) {
        failWith();
    }
    return result;
}

}  // namespace detail

/** @addtogroup cpp_analysis
 *  @{ */

/**
 * Collisional cross section of an ion in nitrogen, see kova_oneoverk0_to_ccs_for_mz(). Any thread.
 *
 * @param oneOverK0  1/K0 in V s / cm^2
 * @param charge     charge number with its sign
 * @param mz         m/z in Th
 * @return CCS in square angstrom
 */
[[nodiscard]] inline double oneOverK0ToCcs(double oneOverK0, std::int32_t charge, double mz) noexcept {
    return kova_oneoverk0_to_ccs_for_mz(oneOverK0, charge, mz);
}

/**
 * 1/K0 of an ion in nitrogen, see kova_ccs_to_oneoverk0_for_mz(). Any thread.
 *
 * @param ccs     collisional cross section in square angstrom
 * @param charge  charge number with its sign
 * @param mz      m/z in Th
 * @return 1/K0 in V s / cm^2
 */
[[nodiscard]] inline double ccsToOneOverK0(double ccs, std::int32_t charge, double mz) noexcept {
    return kova_ccs_to_oneoverk0_for_mz(ccs, charge, mz);
}

/** Number of worker threads for later conversions of the calling thread, at least 1, see kova_set_num_threads(). */
inline void setNumThreads(std::uint32_t count) noexcept { kova_set_num_threads(count); }

/** @} */

}  // namespace kova

#endif
