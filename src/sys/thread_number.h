#pragma once

#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace lumo::sys {

// A static number of which every thread has its own, 0 at first. In place of thread_local data: those of a
// library that was loaded late take memory at a thread's first access, for want of which the C library ends
// the process, and room that is not had back when the library is unloaded.
class ThreadNumber {
public:
    ThreadNumber() { isMade = pthread_key_create(&key, nullptr) == 0; }

    std::intptr_t get() const noexcept {
        return isMade ? reinterpret_cast<std::intptr_t>(pthread_getspecific(key)) : 0;
    }
    // Stays as it was in a thread of a program with many such keys for which there is no memory.
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
