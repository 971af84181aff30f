#pragma once

#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>
#include <zstd.h>

#include "bench_analysis.h"

namespace bench {

inline constexpr std::size_t kBlockHeaderSize = 8;

// Bare decompression of all blocks with a reused context: what reading frames cannot do without.
inline void decompressBlocks(benchmark::State& state, const std::vector<StoredFrame>& frames) {
    ZSTD_DCtx* const context = ZSTD_createDCtx();
    std::vector<std::byte> output(64'000'000);
    std::size_t bytes = 0;
    for (auto _ : state) {
        for (const StoredFrame& frame : frames) {
            const std::size_t produced = ZSTD_decompressDCtx(context, output.data(), output.size(),
                                                             frame.block.data() + kBlockHeaderSize,
                                                             frame.block.size() - kBlockHeaderSize);
            if (ZSTD_isError(produced)) {
                state.SkipWithError(ZSTD_getErrorName(produced));
            }
            bytes += produced;
        }
        benchmark::ClobberMemory();
    }
    ZSTD_freeDCtx(context);
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

}  // namespace bench
