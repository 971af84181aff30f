#include "kova-data-reader/scan-decoding/run_length_kernel.h"

#include "diag/assert.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"
#include "sys/little_endian.h"

// Scans of compression type 1 as runs: the plain form defines the result, and takes over from the vector form
// wherever that stops. Dropping needs no case of its own: a peak that is not kept is overwritten by the next
// one. It does mean that more than the kept peaks may be written, within the room for all of the scan's
// peaks.
namespace lumo::io::kova {

namespace {

std::int32_t valueAt(std::span<const std::byte> values, std::size_t i) {
    return static_cast<std::int32_t>(sys::loadU32(values.data() + 4 * i));
}

// The form that defines the result. Skips and peaks follow each other in no order that a processor could
// foresee, so there is no branch on them: each value is stored as the next peak, and the next one overwrites
// it unless it was a peak. The last value must not be a skip, since nothing would overwrite that.
template <class Store>
std::size_t decodePlainly(std::span<const std::byte> values, RunLengthPosition at, BinLimit& limit,
                          const Store& store) {
    const std::uint64_t bins = limit.binCount();
    for (; at.value < values.size() / 4; ++at.value) {
        const std::int32_t value = valueAt(values, at.value);
        const bool isPeak = value >= 0;
        const bool isInside = at.index < bins;
        if (static_cast<unsigned>(isPeak) & static_cast<unsigned>(!isInside)) {
            limit.reportDropped(at.index);
        }
        store(at.kept, static_cast<std::uint32_t>(at.index), static_cast<std::uint32_t>(value));
        at.kept += static_cast<unsigned>(isPeak) & static_cast<unsigned>(isInside);
        at.index += isPeak ? 1 : static_cast<std::uint64_t>(-static_cast<std::int64_t>(value));
    }
    return at.kept;
}

std::span<const std::byte> withoutLastSkips(std::span<const std::byte> values) {
    std::size_t count = values.size() / 4;
    while (count > 0 && valueAt(values, count - 1) < 0) {
        --count;
    }
    return values.first(4 * count);
}

}  // namespace

std::size_t countRunLengthPeaks(std::span<const std::byte> values) {
    std::size_t peaks = 0;
    for (std::size_t i = 0; i < values.size() / 4; ++i) {
        peaks += valueAt(values, i) >= 0 ? 1U : 0U;
    }
    return peaks;
}

RunLengthKernel::RunLengthKernel(sys::SimdLevel level) : byEight(level == sys::SimdLevel::Avx2) {}

void RunLengthKernel::decode(const RunLengthScan& scan, BinLimit& limit, ScanTargets& targets) const {
    LUMO_ASSERT(scan.values.size() % 4 == 0 && scan.bins == limit.binCount());
    const PeakOutput output{targets.indices, targets.intensitiesOf(scan.peaks)};
    const std::size_t peaks = expand(scan, limit, output);
    if (peaks < scan.peaks && !targets.areCountedOnly()) {
        output.moveIntensitiesTo(targets.intensitiesOf(peaks), peaks);
    }
    targets.advance(peaks);
}

// Returns the number of peaks kept.
std::size_t RunLengthKernel::expand(const RunLengthScan& scan, BinLimit& limit,
                                    const PeakOutput& output) const {
    RunLengthPosition at;
    const std::span<const std::byte> values = withoutLastSkips(scan.values);
    if (output.isCountOnly()) {
        return decodePlainly(values, at, limit, [](std::size_t, std::uint32_t, std::uint32_t) {});
    }
#ifdef __x86_64__
    if (byEight) {
        decodeRunsByAvx2(scan, output, at);
    }
#endif
    if (scan.scale.isIdentity()) {
        return decodePlainly(values, at, limit,
                             [&](std::size_t peak, std::uint32_t index, std::uint32_t intensity) {
                                 output.store(peak, index, intensity);
                             });
    }
    return decodePlainly(values, at, limit,
                         [&](std::size_t peak, std::uint32_t index, std::uint32_t intensity) {
                             output.store(peak, index, scan.scale(intensity));
                         });
}

}  // namespace lumo::io::kova
