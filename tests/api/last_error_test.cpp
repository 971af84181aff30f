#include <thread>

#include <gtest/gtest.h>

#include "api/analysis.h"

namespace {

constexpr const char* kMissing = "Specified analysis directory does not exist.";

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
