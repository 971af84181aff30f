/**
 * @file handle.hpp
 * What owns an open analysis. Part of kovadata.hpp, whose conventions hold here; usable alone.
 */
#ifndef KOVADATA_HANDLE_HPP
#define KOVADATA_HANDLE_HPP

#include <cstdint>
#include <utility>

namespace kova {

/** @addtogroup cpp_values
 *  @{ */

/** Which calibration an analysis converts with. */
enum class Calibration : std::uint32_t {
    acquisition = 0, /**< as stored during acquisition */
    recalibrated =
        1, /**< newest complete state of `calibration.sqlite`; without that file, that of the acquisition */
};

/** @} */

namespace detail {

// Closes an open analysis when it goes. What was moved from has the handle 0, which may be closed any number of times.
template <void (*close)(std::uint64_t)>
class Handle {
public:
    explicit Handle(std::uint64_t handle) noexcept : opened(handle) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    Handle(Handle&& other) noexcept : opened(std::exchange(other.opened, 0)) {}
    Handle& operator=(Handle&& other) noexcept {
        if (this != &other) {
            close(opened);
            opened = std::exchange(other.opened, 0);
        }
        return *this;
    }
    ~Handle() { close(opened); }

    [[nodiscard]] std::uint64_t get() const noexcept { return opened; }

private:
    std::uint64_t opened;
};

}  // namespace detail

}  // namespace kova

#endif
