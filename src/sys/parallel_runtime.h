#pragma once

#include <cstddef>

namespace lumo::sys {

// The one place that meets the OpenMP runtime. It is asked how many threads the calling thread may use, and
// for nothing else: no parallel region of the library's own runs in it.

void setNumberOfThreads(unsigned n) noexcept;
std::size_t numberOfThreads() noexcept;

// Whether the calling thread is in a parallel region of the host's.
bool isInParallelRegion() noexcept;

}  // namespace lumo::sys
