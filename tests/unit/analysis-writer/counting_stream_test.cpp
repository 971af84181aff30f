#include "fixtures/counting_stream.h"

#include <gtest/gtest.h>

#include <array>

namespace fixtures {
namespace {

TEST(CountingStream, CountsReadsAndSeeks) {
    CountingStream stream({1, 2, 3, 4, 5});
    std::array<char, 4> target{};
    stream.seekg(1);
    stream.read(target.data(), 4);
    EXPECT_EQ(stream.gcount(), 4);
    EXPECT_EQ(target, (std::array<char, 4>{2, 3, 4, 5}));
    EXPECT_EQ(stream.tellg(), 5);
    EXPECT_EQ(stream.counts().reads, 1U);
    EXPECT_EQ(stream.counts().seeks, 1U);
}

TEST(CountingStream, FailsTheChosenCalls) {
    CountingStream stream(std::vector<std::uint8_t>(16));
    std::array<char, 4> target{};
    stream.counts().failRead(2);
    EXPECT_TRUE(stream.read(target.data(), 4));
    EXPECT_FALSE(stream.read(target.data(), 4));
    EXPECT_EQ(stream.gcount(), 0);
    stream.clear();
    EXPECT_TRUE(stream.read(target.data(), 4));
    stream.counts().failSeek(1);
    EXPECT_FALSE(stream.seekg(0));
}

TEST(CountingStream, EndsLikeAFile) {
    CountingStream stream(std::vector<std::uint8_t>(16));
    std::array<char, 8> target{};
    stream.counts().truncate(5);
    EXPECT_FALSE(stream.read(target.data(), 8));
    EXPECT_EQ(stream.gcount(), 5);
    stream.clear();
    EXPECT_TRUE(stream.seekg(100));
    EXPECT_FALSE(stream.read(target.data(), 1));
    EXPECT_EQ(stream.gcount(), 0);
}

}  // namespace
}  // namespace fixtures
