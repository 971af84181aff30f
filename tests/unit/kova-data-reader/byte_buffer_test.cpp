#include "kova-data-reader/blob/byte_buffer.h"

#include <new>

#include <gtest/gtest.h>

namespace {

using lumo::io::kova::ByteBuffer;

TEST(ByteBuffer, StartsZeroedKeepsContentsAndCapacity) {
    ByteBuffer buffer(100'000);
    EXPECT_EQ(buffer.data()[99'999], std::byte{0});
    buffer.data()[5] = std::byte{7};
    buffer.resize(50'000'000);
    EXPECT_EQ(buffer.data()[5], std::byte{7});
    EXPECT_EQ(buffer.data()[49'999'999], std::byte{0});
    const std::size_t capacity = buffer.capacity();
    buffer.resize(1);
    EXPECT_EQ(buffer.size(), 1U);
    EXPECT_EQ(buffer.capacity(), capacity);
}

TEST(ByteBuffer, ImpossibleSizeFailsAndLeavesTheBufferUsable) {
    ByteBuffer buffer(16);
    EXPECT_THROW(buffer.resize(std::size_t{1} << 60), std::bad_alloc);
    EXPECT_EQ(buffer.size(), 16U);
    buffer.data()[15] = std::byte{1};
}

}  // namespace
