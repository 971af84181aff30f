#pragma once

#include <cstddef>

namespace lumo::sys {

// The one place that meets the OpenMP runtime. Programs set their numbers of threads there, so it is asked
// how many the calling thread may use, and for nothing else: no parallel region of the library's own runs in
// it (worker_pool.cpp says why).

void setNumberOfThreads(unsigned n) noexcept;
std::size_t numberOfThreads() noexcept;

// Whether the calling thread is in a parallel region of the host's.
bool isInParallelRegion() noexcept;

}  // namespace lumo::sys
