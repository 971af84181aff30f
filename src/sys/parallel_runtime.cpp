#include "sys/parallel_runtime.h"

#include <algorithm>

#include <omp.h>

namespace lumo::sys {

void setNumberOfThreads(unsigned n) noexcept { omp_set_num_threads(static_cast<int>(n)); }

std::size_t numberOfThreads() noexcept {
    return static_cast<std::size_t>(std::max(1, std::min(omp_get_max_threads(), omp_get_thread_limit())));
}

bool isInParallelRegion() noexcept { return omp_in_parallel() != 0; }

}  // namespace lumo::sys
