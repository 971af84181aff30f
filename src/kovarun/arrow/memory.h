#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

namespace lumo::run::arrow {

// Memory of at least that size, not initialised, aligned for every fundamental type. Large blocks come from
// those that consumers have released, which spares the system from clearing pages that were cleared a moment
// ago: that would cost more than decoding the peaks that fill them. Raises std::bad_alloc; any thread may
// call, and release.
std::shared_ptr<std::byte[]> takeMemory(std::size_t bytes);

// The same for `count` values.
template <class T>
std::shared_ptr<T[]> takeMemoryFor(std::size_t count) {
    static_assert(std::is_trivial_v<T>);
    std::shared_ptr<std::byte[]> block = takeMemory(count * sizeof(T));
    T* values = reinterpret_cast<T*>(block.get());
    return {std::move(block), values};
}

// While it lives, released blocks of half of this memory budget are kept for what comes next. What all
// of them allow together is never more than 48 MB, and without one nothing is kept. Any thread may make it,
// and end it.
class IdleMemory {
public:
    explicit IdleMemory(std::uint64_t memoryBudget) noexcept;
    ~IdleMemory();
    IdleMemory(const IdleMemory&) = delete;
    IdleMemory& operator=(const IdleMemory&) = delete;

private:
    const std::size_t allowed;
};

}  // namespace lumo::run::arrow
