#pragma once

#include <cstddef>
#include <span>

#include "calibration/failure_mask.h"
#include "diag/assert.h"
#include "sys/cpu.h"

namespace lumo::calibration {

// Whether a batch may be shared among threads, as many as the calling thread's setting says.
enum class Workers { AsManyAsAllowed, None };

// Applies a conversion to every element of an array. Up to 99 elements, or when the caller is in a parallel
// region already, that is a loop on the calling thread; beyond that the loop's pieces are shared among
// threads where there are enough values to pay for it. All forms give the same bits.
//
// How a loop becomes fast without a kernel written by hand: the models are plain values without virtual
// functions or branches, the loop is compiled for each of them, and the compiler vectorises it. So there is
// one form of each formula and nothing to keep equal. The loop does not stop at a failure; failures are
// counted, as doubles like the values, and one exception is raised after the loop.
//
// What must stay true: an element's result depends on the element alone, not on its neighbours, the length of
// the array or the number of threads.
//
// `Kernel` is called as `Out kernel(In, FailureMask&)` and must not throw. It is copied for each piece, so
// that the compiler keeps its constants in registers. Input and output may be the same array.
class BatchTransformation {
public:
    static constexpr std::size_t kFirstParallelSize = 100;

    // A failed conversion raises the element's own message or, from kFirstParallelSize elements on,
    // std::runtime_error. The output is then complete except for the failed elements, which are unspecified.
    template <class In, class Out, class Kernel>
    static void transform(std::span<const In> in, std::span<Out> out, const Kernel& kernel,
                          Workers workers = Workers::AsManyAsAllowed) {
        LUMO_ASSERT(in.size() == out.size());
        const Job<In, Out, Kernel> job{in.data(), out.data(), kernel};
        run({Job<In, Out, Kernel>::best(), &job, in.size()}, workers);
    }

private:
    using RangeFunction = FailureMask (*)(const void* job, std::size_t begin, std::size_t end) noexcept;

    template <class In, class Out, class Kernel>
    struct Job {
        const In* in;
        Out* out;
        const Kernel& kernel;

        static FailureMask convert(const void* job, std::size_t begin, std::size_t end) noexcept {
            const auto& self = *static_cast<const Job*>(job);
            return convertRange(self.in + begin, self.out + begin, end - begin, self.kernel);
        }

#ifdef __x86_64__
        // The same loop with vectors of twice the width. The bits are the same, as no operation is contracted
        // or reordered.
        LUMO_AVX2 static FailureMask convertByAvx2(const void* job, std::size_t begin,
                                                   std::size_t end) noexcept {
            const auto& self = *static_cast<const Job*>(job);
            return convertRange(self.in + begin, self.out + begin, end - begin, self.kernel);
        }
#endif

        static RangeFunction best() {
#ifdef __x86_64__
            if (sys::simdLevel() == sys::SimdLevel::Avx2) {
                return convertByAvx2;
            }
#endif
            return convert;
        }

        [[gnu::always_inline]] static inline FailureMask convertRange(const In* source, Out* target,
                                                                      std::size_t count, Kernel convertOne) {
            FailureMask failed = 0;
#pragma omp simd reduction(+ : failed)
            for (std::size_t i = 0; i < count; ++i) {
                FailureMask elementFailed = 0;
                target[i] = convertOne(source[i], elementFailed);
                failed += elementFailed;
            }
            return failed;
        }
    };

    struct Batch {
        RangeFunction function;
        const void* job;
        std::size_t count;

        // False if an element failed.
        bool convert(std::size_t begin, std::size_t end) const noexcept {
            return function(job, begin, end) == 0;
        }
        bool convertInPieces() const;
    };

    static void run(const Batch& batch, Workers workers);
};

}  // namespace lumo::calibration
