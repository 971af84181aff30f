#include "kova-data-reader/scan-decoding/run_length_kernel.h"

#include "kova-data-reader/blob/little_endian.h"
#include "kova-data-reader/scan-decoding/bin_limit.h"

namespace lumo::io::kova {

std::size_t decodeRunLengthScan(std::span<const std::byte> values, const IntensityScale& scale,
                                BinLimit& limit, const PeakOutput& output) {
    const std::size_t count = values.size() / 4;
    std::uint64_t index = 0;  // 64 bits hold every sum of skips that a scan can have room for
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto value = static_cast<std::int32_t>(loadU32(values.data() + 4 * i));
        if (value < 0) {
            index += static_cast<std::uint64_t>(-static_cast<std::int64_t>(value));
            continue;
        }
        if (index < limit.binCount()) {
            if (!output.isCountOnly()) {
                output.store(kept, static_cast<std::uint32_t>(index),
                             scale(static_cast<std::uint32_t>(value)));
            }
            ++kept;
        } else {
            limit.reportDropped(index);
        }
        ++index;
    }
    return kept;
}

}  // namespace lumo::io::kova
