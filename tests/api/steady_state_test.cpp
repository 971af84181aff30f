// Counts calls of operator new in the whole process: the program's replacements serve the library too.
#include <atomic>
#include <cstdlib>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"

namespace {

std::atomic<std::size_t> allocations{0};

void* countedNew(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

}  // namespace

// Not inlined: compilers and tools tell pairs of new and delete by their names.
[[gnu::noinline]] void* operator new(std::size_t size) { return countedNew(size); }
[[gnu::noinline]] void* operator new[](std::size_t size) { return countedNew(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

class SteadyState : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Compression, SteadyState, testing::Values(1, 2),
                         [](const auto& each) { return "Type" + std::to_string(each.param); });

TEST_P(SteadyState, ReadingFramesAndConvertingAllocatesNothing) {
    fixtures::AnalysisBuilder builder;
    builder.compression(GetParam());
    analysis_writer::Scan scan;
    for (std::uint32_t frame = 1; frame <= 4; ++frame) {
        for (std::uint32_t peak = 0; peak < 10; ++peak) {
            scan.push_back({1000 * frame + 50 * peak, peak});
        }
        builder.frame(analysis_writer::Frame(50, scan));
    }
    const fixtures::TempDirectory directory;
    const api::Analysis analysis(builder.write(directory.path()));
    std::vector<std::uint32_t> buffer(100'000);
    std::vector<double> values(99, 1000.0);
    const auto readAll = [&] {
        for (std::int64_t frame = 1; frame <= 4; ++frame) {
            EXPECT_GT(kova_read_scans_v2(analysis.handle, frame, 0, 50, buffer.data(), 400'000), 0U);
            EXPECT_GT(kova_read_scans_v2(analysis.handle, frame, 7, 9, nullptr, 0), 0U);
        }
        EXPECT_EQ(kova_index_to_mz(analysis.handle, 1, values.data(), values.data(), 99), 1U);
    };
    readAll();
    const std::size_t before = allocations;
    readAll();
    EXPECT_EQ(allocations, before);
}

}  // namespace
