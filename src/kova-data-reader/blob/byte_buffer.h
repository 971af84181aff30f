#pragma once

#include <algorithm>
#include <cstddef>

namespace lumo::io::kova {

// A byte vector for large blocks that are overwritten as a whole. Memory comes straight from the kernel,
// zero-filled when it is first touched, so growing neither copies nor clears. A buffer that is made with a
// size asks for its memory when it is first used, so one that is never used costs nothing. The capacity never
// shrinks.
//
// Growing may move the memory: pointers from data() are valid until the next resize().
class ByteBuffer {
public:
    ByteBuffer() = default;
    explicit ByteBuffer(std::size_t size) : used(size), firstCapacity(size) {}
    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;
    ~ByteBuffer();

    // Keeps the bytes that were there; bytes that come back after shrinking hold what they held before.
    // Fails with std::bad_alloc.
    void resize(std::size_t newSize);

    // Fails with std::bad_alloc at the first use.
    std::byte* data() { return memory(); }
    const std::byte* data() const { return memory(); }
    std::size_t size() const { return used; }
    std::size_t capacity() const { return mapped; }
    bool empty() const { return used == 0; }

private:
    std::byte* memory() const {
        if (used > mapped) {
            grow(std::max(used, firstCapacity));
        }
        return bytes;
    }
    void grow(std::size_t atLeast) const;

    mutable std::byte* bytes = nullptr;
    mutable std::size_t mapped = 0;
    std::size_t used = 0;
    std::size_t firstCapacity = 0;
};

}  // namespace lumo::io::kova
