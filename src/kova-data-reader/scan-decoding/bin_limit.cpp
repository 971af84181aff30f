#include "kova-data-reader/scan-decoding/bin_limit.h"

namespace lumo::io::kova {

void BinLimit::reportDropped(std::uint64_t index) {
    if (reported.test_and_set()) {
        return;
    }
    LUMO_LOG(logger, Warn,
             "Index " << index << " exceeds number of bins = " << bins << ", silently dropping from now on.");
}

}  // namespace lumo::io::kova
