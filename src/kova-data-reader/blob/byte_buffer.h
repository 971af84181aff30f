#pragma once

#include <cstddef>

namespace lumo::io::kova {

// A byte vector for large blocks that are overwritten as a whole. Memory comes straight from the kernel:
// zero-filled on first touch only, so that a buffer that is never used costs nothing, and growing neither
// copies nor clears. The capacity never shrinks.
class ByteBuffer {
public:
    ByteBuffer() = default;
    explicit ByteBuffer(std::size_t size) { resize(size); }
    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;
    ~ByteBuffer();

    // Keeps the bytes that were there; bytes that come back after shrinking hold what they held before.
    // Fails with std::bad_alloc.
    void resize(std::size_t newSize);

    std::byte* data() { return bytes; }
    const std::byte* data() const { return bytes; }
    std::size_t size() const { return used; }
    std::size_t capacity() const { return mapped; }
    bool empty() const { return used == 0; }

private:
    void grow(std::size_t newCapacity);

    std::byte* bytes = nullptr;
    std::size_t used = 0;
    std::size_t mapped = 0;
};

}  // namespace lumo::io::kova
