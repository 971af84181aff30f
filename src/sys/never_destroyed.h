#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace lumo::sys {

// A static object without a destructor. At exit other threads may still be calling the library, so what they
// use is never destroyed; what it holds is released by other means.
template <class T>
class NeverDestroyed {
public:
    template <class... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments) {
        ::new (static_cast<void*>(memory)) T(std::forward<Arguments>(arguments)...);
    }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() = default;

    T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(memory)); }
    T* operator->() noexcept { return &**this; }

private:
    alignas(T) std::byte memory[sizeof(T)] = {};
};

}  // namespace lumo::sys
