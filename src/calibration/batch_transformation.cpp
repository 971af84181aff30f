#include "calibration/batch_transformation.h"

#include <atomic>
#include <stdexcept>

#include "calibration/worker_threads.h"
#include "diag/throw.h"

namespace lumo::calibration {

void raiseComplexSolution() {
    LUMO_THROW(std::logic_error(
        "complex valued solution in computation due to invalid calibration constants/value range"));
}

void BatchTransformation::run(std::size_t count, RangeFunction convert, const void* job) {
    if (count < kFirstParallelSize || isInParallelRegion()) {
        if (convert(job, 0, count) != 0) {
            raiseComplexSolution();
        }
        return;
    }
    struct ParallelJob {
        RangeFunction convert;
        const void* job;
        std::atomic<bool> failed = false;
    } parallelJob{convert, job};
    // No exception may leave a parallel region: failures are noted and raised after the loop.
    runOnWorkerThreads(
        count,
        [](void* context, std::size_t begin, std::size_t end) noexcept {
            auto& self = *static_cast<ParallelJob*>(context);
            if (self.convert(self.job, begin, end) != 0) {
                self.failed.store(true, std::memory_order_relaxed);
            }
        },
        &parallelJob);
    if (parallelJob.failed) {
        LUMO_THROW(
            std::runtime_error("Transformation failed, most likely due to bad calibration constants."));
    }
}

}  // namespace lumo::calibration
