#include "kova-data-reader/blob/byte_buffer.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>

#include "diag/throw.h"

// Memory for frames, from the system page by page. Pages that are never touched cost nothing, so a buffer may
// be as large as the largest frame could be; growing moves pages and not bytes; and nothing is cleared that
// will be overwritten.
namespace lumo::io::kova {

namespace {

constexpr std::size_t kPageSize = 4096;

std::size_t roundedToPages(std::size_t size) { return (size + kPageSize - 1) / kPageSize * kPageSize; }

}  // namespace

ByteBuffer::~ByteBuffer() {
    if (bytes != nullptr) {
        munmap(bytes, mapped);
    }
}

void ByteBuffer::resize(std::size_t newSize) {
    if (newSize > mapped) {
        // Half as much again: untouched pages cost nothing, and frames that grow slowly do not need another
        // call each time.
        grow(std::max({newSize, mapped + mapped / 2, firstCapacity}));
    }
    used = newSize;
}

void ByteBuffer::grow(std::size_t atLeast) const {
    const std::size_t newCapacity = roundedToPages(atLeast);
    void* const address = bytes == nullptr ? mmap(nullptr, newCapacity, PROT_READ | PROT_WRITE,
                                                  MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                                           : mremap(bytes, mapped, newCapacity, MREMAP_MAYMOVE);
    if (address == MAP_FAILED) {
        LUMO_THROW(std::bad_alloc());
    }
    bytes = static_cast<std::byte*>(address);
    mapped = newCapacity;
}

}  // namespace lumo::io::kova
