#pragma once

#include <cstdint>

namespace lumo::run {

// What the threads that work for one call may use.
struct TaskLimits {
    unsigned threads = 1;            // 1: none but the caller's
    std::uint64_t memoryBudget = 0;  // bytes, of results that wait
};

}  // namespace lumo::run
