#pragma once

#include <cstddef>

namespace lumo::calibration {

// The one place that meets the OpenMP runtime.

bool isInParallelRegion();

// Cuts [0, count) into one contiguous piece per worker thread and runs `work` on them, then returns. The
// number of workers is the calling thread's OpenMP setting, or less when the pieces would not be worth waking a
// thread for.
//
// After a fork the GNU runtime still believes in the worker threads of the parent, which do not exist in the
// child, and waits for them for ever. In the child the thread that forked therefore does all the work itself.
using WorkFunction = void (*)(void* context, std::size_t begin, std::size_t end) noexcept;
void runOnWorkerThreads(std::size_t count, WorkFunction work, void* context);

}  // namespace lumo::calibration
