#include "calibration/batch_transformation.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "diag/throw.h"
#include "sys/parallel_runtime.h"
#include "sys/worker_pool.h"

// When an array is shared among threads, and how. Pieces are so long that each is worth waking a thread, and
// so many that none of the threads waits long for the last piece. Which thread converts which piece changes
// no bit, as an element's result depends on the element alone.
namespace lumo::calibration {

namespace {

// Waking a thread takes as long as converting about this many values, so no piece is smaller. Pieces are
// whole cache lines, so that no two threads write to the same one if the array begins at one, and there are
// many of them, so that a thread that wakes late or is slow costs little.
constexpr std::size_t kValuesWorthAThread = 2048;
constexpr std::size_t kMaxPiece = 32 * kValuesWorthAThread;
constexpr std::size_t kPiecesPerThread = 8;
constexpr std::size_t kValuesPerLine = 8;

}  // namespace

void raiseComplexSolution() {
    LUMO_THROW(std::logic_error(
        "complex valued solution in computation due to invalid calibration constants/value range"));
}

// A task must not throw, so a failure is noted and raised after the loop.
bool BatchTransformation::Batch::convertInPieces() const {
    struct Pieces {
        const Batch& batch;
        std::size_t length;
        std::atomic<bool> failed = false;

        bool convert(std::size_t number) const noexcept {
            const std::size_t begin = number * length;
            return batch.convert(begin, std::min(batch.count, begin + length));
        }
    };
    const std::size_t threads = std::min(sys::numberOfThreads(), count / kValuesWorthAThread);
    if (threads <= 1) {
        return convert(0, count);
    }
    const std::size_t wanted =
        std::clamp(count / (threads * kPiecesPerThread), kValuesWorthAThread, kMaxPiece);
    Pieces pieces{*this, (wanted + kValuesPerLine - 1) / kValuesPerLine * kValuesPerLine};
    sys::runTasks((count + pieces.length - 1) / pieces.length, threads,
                  [](void* context, std::size_t number) noexcept {
                      auto& self = *static_cast<Pieces*>(context);
                      if (!self.convert(number)) {
                          self.failed.store(true, std::memory_order_relaxed);
                      }
                  },
                  &pieces);
    return !pieces.failed;
}

// Deliberate: how a failure reads depends on the number of values, 100 and more or fewer, and on whether the
// caller is in a parallel region, but not on whether the work was really shared.
void BatchTransformation::run(const Batch& batch, Workers workers) {
    const bool isLoop = batch.count >= kFirstParallelSize && !sys::isInParallelRegion();
    const bool shared = isLoop && workers == Workers::AsManyAsAllowed;
    if (shared ? batch.convertInPieces() : batch.convert(0, batch.count)) {
        return;
    }
    if (!isLoop) {
        raiseComplexSolution();
    }
    LUMO_THROW(std::runtime_error("Transformation failed, most likely due to bad calibration constants."));
}

}  // namespace lumo::calibration
