#pragma once

#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace lumo::sys {

// A static number of which every thread has its own, 0 at first. It stands in for thread_local data. In a
// library that is loaded late, those take memory at a thread's first access, and the C library ends the
// process if there is none; and the room for them is not given back when the library is unloaded.
class ThreadNumber {
public:
    ThreadNumber() { isMade = pthread_key_create(&key, nullptr) == 0; }

    std::intptr_t get() const noexcept {
        return isMade ? reinterpret_cast<std::intptr_t>(pthread_getspecific(key)) : 0;
    }
    // The number stays as it was if there is no memory for it, which can only be in a thread of a program
    // with many such keys.
    void set(std::intptr_t value) noexcept {
        if (isMade) {
            pthread_setspecific(key, reinterpret_cast<void*>(value));  // NOLINT(performance-no-int-to-ptr)
        }
    }

    // When the library is unloaded.
    void release() noexcept {
        if (isMade) {
            pthread_key_delete(key);
        }
        isMade = false;
    }

private:
    pthread_key_t key{};
    std::atomic<bool> isMade;
};

}  // namespace lumo::sys
