#include <cstdlib>

#include <gtest/gtest.h>

#include "sys/cpu.h"
#include "sys/iso8601.h"

namespace {

TEST(Cpu, LessIsGivenForTheAskingButNeverMore) {
    using enum lumo::sys::SimdLevel;
    const std::tuple<const char*, lumo::sys::SimdLevel, lumo::sys::SimdLevel> cases[] = {
        {"scalar", Avx2, Scalar}, {"vector128", Avx2, Vector128}, {"avx2", Avx2, Avx2},
        {"avx2", Scalar, Scalar}, {"vector128", Scalar, Scalar},  {"", Vector128, Vector128},
        {"Scalar", Avx2, Avx2},
    };
    for (const auto& [wish, widest, expected] : cases) {
        EXPECT_EQ(lumo::sys::simdLevelFor(wish, widest), expected) << wish;
    }
    setenv("KOVADATA_SIMD", "scalar", 1);
    EXPECT_EQ(lumo::sys::simdLevel(), Scalar) << "asked for before the first look";
}

TEST(Iso8601, IsUtcWithMicroseconds) {
    using namespace std::chrono;
    const auto at = [](std::int64_t us) {
        return lumo::sys::iso8601(
            system_clock::time_point(duration_cast<system_clock::duration>(microseconds(us))));
    };
    EXPECT_EQ(at(0), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(at(-1), "1969-12-31T23:59:59.999999Z");
    EXPECT_EQ(at(1'709'251'199'000'001), "2024-02-29T23:59:59.000001Z");
    EXPECT_EQ(at(4'102'444'800'000'000), "2100-01-01T00:00:00.000000Z");
}

}  // namespace
