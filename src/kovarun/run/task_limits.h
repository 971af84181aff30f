#pragma once

#include <cstdint>

namespace lumo::run {

// What the threads that work for one call may use. The budget bounds the results that are being made or wait
// for the caller; readers and their buffers come on top.
struct TaskLimits {
    unsigned threads = 1;            // 1: none but the caller's
    std::uint64_t memoryBudget = 0;  // bytes, of results that wait
};

}  // namespace lumo::run
