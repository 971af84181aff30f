/**
 * @file msms.hpp
 * MS/MS spectra of precursors, and functions that take them. Part of kovadata.hpp, whose conventions hold here;
 * usable alone.
 */
#ifndef KOVADATA_MSMS_HPP
#define KOVADATA_MSMS_HPP

#include <concepts>
#include <cstdint>
#include <exception>
#include <span>
#include <vector>

#include "error.hpp"

namespace kova {

/** @addtogroup cpp_values
 *  @{ */

/** MS/MS spectrum of one precursor, see kova_zorel_msms_callback_v2. Both vectors have the same size. */
struct MsMsSpectrum {
    std::int64_t precursor = 0; /**< "Id" of the row of table "Precursors" */
    std::vector<double> mz;     /**< m/z of each peak in Th, in the order of their time-of-flight indices */
    std::vector<float> intensities; /**< largest bin at the apex of each peak */
};

/** MS/MS profile of one precursor, see kova_zorel_profile_callback_v2. */
struct MsMsProfile {
    std::int64_t precursor = 0;            /**< "Id" of the row of table "Precursors" */
    std::vector<std::int32_t> intensities; /**< summed intensity of each time-of-flight index from 0 */
};

/** What takes MS/MS spectra: (id of the precursor, m/z in Th, intensities). The spans are valid until it returns. */
template <class Function>
concept MsMsFunction =
    std::invocable<Function&, std::int64_t, std::span<const double>, std::span<const float>>;

/** What takes MS/MS profiles: (id of the precursor, intensity of each index). The span is valid until it returns. */
template <class Function>
concept MsMsProfileFunction = std::invocable<Function&, std::int64_t, std::span<const std::int32_t>>;

/** @} */

namespace detail {

// A caller's function on its way through the library as context pointer. What it throws waits here for the call to
// return, since nothing may be thrown through C; what comes after it is not passed on.
template <class Function>
struct Callback {
    template <class... Values>
    void operator()(Values... values) noexcept {
        if (failure) {
            return;
        }
        try {
            function(values...);
        } catch (...) {
            failure = std::current_exception();
        }
    }
    void finish(std::uint32_t result) const {
        if (failure) {
            std::rethrow_exception(failure);
        }
        if (result == 0) {
            fail();
        }
    }

    Function& function;
    std::exception_ptr failure = nullptr;
};

template <class Function>
void onSpectrum(std::int64_t precursor, std::uint32_t count, const double* mz, const float* intensities,
                void* context) noexcept {
    (*static_cast<Callback<Function>*>(context))(precursor, std::span<const double>(mz, count),
                                                 std::span<const float>(intensities, count));
}

template <class Function>
void onProfile(std::int64_t precursor, std::uint32_t count, const std::int32_t* intensities,
               void* context) noexcept {
    (*static_cast<Callback<Function>*>(context))(precursor,
                                                 std::span<const std::int32_t>(intensities, count));
}

}  // namespace detail

}  // namespace kova

#endif
