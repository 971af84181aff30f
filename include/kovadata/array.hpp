/**
 * @file array.hpp
 * Numbers in memory that is used again. Part of kovadata.hpp, whose conventions hold here; usable alone.
 */
#ifndef KOVADATA_ARRAY_HPP
#define KOVADATA_ARRAY_HPP

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

namespace kova {

/** @addtogroup cpp_values
 *  @{ */

/**
 * Numbers in one piece of memory that grows when it must and is never cleared.
 *
 * Unlike a std::vector it does not write zeros to memory that a call is about to fill. A copy is a copy of the numbers.
 */
template <class T>
requires std::is_arithmetic_v<T>
class Array {
public:
    using value_type = T;

    /** An empty array, without memory. */
    Array() noexcept = default;
    Array(const Array& other) { *this = other; }
    Array(Array&& other) noexcept
        : memory(std::move(other.memory)),
          used(std::exchange(other.used, 0)),
          available(std::exchange(other.available, 0)) {}
    Array& operator=(const Array& other) {
        if (this != &other) {
            std::copy(other.begin(), other.end(), prepare(other.used).begin());
        }
        return *this;
    }
    Array& operator=(Array&& other) noexcept {
        memory = std::move(other.memory);
        used = std::exchange(other.used, 0);
        available = std::exchange(other.available, 0);
        return *this;
    }
    ~Array() = default;

    [[nodiscard]] std::size_t size() const noexcept { return used; }
    [[nodiscard]] bool empty() const noexcept { return used == 0; }
    /** Number of values that there is memory for. */
    [[nodiscard]] std::size_t capacity() const noexcept { return available; }
    [[nodiscard]] T* data() noexcept { return memory.get(); }
    [[nodiscard]] const T* data() const noexcept { return memory.get(); }
    [[nodiscard]] T* begin() noexcept { return data(); }
    [[nodiscard]] T* end() noexcept { return data() + used; }
    [[nodiscard]] const T* begin() const noexcept { return data(); }
    [[nodiscard]] const T* end() const noexcept { return data() + used; }
    /** The value at @p position, which must be below size(); not checked. */
    [[nodiscard]] T& operator[](std::size_t position) noexcept { return memory[position]; }
    [[nodiscard]] const T& operator[](std::size_t position) const noexcept { return memory[position]; }

    /**
     * Makes this an array of @p size values, all of them unspecified. Memory is taken if capacity() is less: @p size values, or
     * half as many again as there were. Spans of the array are invalid then.
     *
     * @param size  number of values
     * @return the array's values, to be written
     */
    std::span<T> prepare(std::size_t size) {
        if (size > available) {
            const std::size_t room = (std::max)(size, available + available / 2);
            used = available = 0;
            memory.reset();  // first, so that old and new memory are not there at once
            memory = std::make_unique_for_overwrite<T[]>(room);
            available = room;
        }
        used = size;
        return {data(), used};
    }

    friend bool operator==(const Array& a, const Array& b) noexcept {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    std::unique_ptr<T[]> memory;
    std::size_t used = 0;
    std::size_t available = 0;
};

/** @} */

}  // namespace kova

#endif
