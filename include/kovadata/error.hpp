/**
 * @file error.hpp
 * Failures of the library as exceptions. Part of kovadata.hpp, whose conventions hold here; usable alone.
 */
#ifndef KOVADATA_ERROR_HPP
#define KOVADATA_ERROR_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "kova.h"
#include "kvs.h"

namespace kova {

/** @addtogroup cpp_values
 *  @{ */

/** A call of the library failed; what() is the library's text, for instance "Specified analysis directory does not exist." */
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @} */

/** What the functions below have in common; not part of the interface. */
namespace detail {

inline std::string textFrom(decltype(&kova_get_last_error_string) get) {
    std::string text(get(nullptr, 0), '\0');
    get(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

[[noreturn]] inline void fail() { throw Error(textFrom(&kova_get_last_error_string)); }
[[noreturn]] inline void failSpectrum() { throw Error(textFrom(&kvs_get_last_error_string)); }

inline std::uint32_t checkedCount(std::size_t count) {
    if (count > (std::numeric_limits<std::uint32_t>::max)()) {
        throw std::length_error("More values than one call takes.");
    }
    return static_cast<std::uint32_t>(count);
}

// For sizes of memory: a call is told of at most this much room, even if there is more.
inline std::uint32_t countAtMost(std::size_t count) noexcept {
    constexpr std::size_t most = (std::numeric_limits<std::uint32_t>::max)();
    return static_cast<std::uint32_t>((std::min)(count, most));
}

}  // namespace detail

}  // namespace kova

#endif
