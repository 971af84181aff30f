#include <array>
#include <thread>

#include <gtest/gtest.h>

#include "api/analysis.h"

namespace {

constexpr const char* kMissing = "Specified analysis directory does not exist.";

TEST(LastError, TextIsCutToTheBufferAndAlwaysTerminated) {
    const std::uint32_t full = 45;
    kova_open("no/such/directory", 0);
    for (const std::uint32_t length : {0U, 1U, 2U, full - 1, full, full + 5}) {
        std::array<char, 64> buffer;
        buffer.fill('#');
        EXPECT_EQ(kova_get_last_error_string(buffer.data(), length), full);
        const std::size_t copied = std::min(length, full);
        const std::string expected = copied == 0 ? "" : std::string(kMissing).substr(0, copied - 1) + '\0';
        EXPECT_EQ(std::string(buffer.data(), copied), expected) << length;
        EXPECT_EQ(buffer[copied], '#') << length;
    }
}

TEST(LastError, BelongsToTheThreadThatFailed) {
    kova_open("no/such/directory", 0);
    std::thread([] {
        EXPECT_EQ(kova_get_last_error_string(nullptr, 0), 11U);
        EXPECT_EQ(api::lastError(), "<no error>");
        kova_open("\xFF", 0);
        EXPECT_EQ(api::lastError(), "Invalid UTF-8");
    }).join();
    EXPECT_EQ(api::lastError(), kMissing);
}

}  // namespace
