#pragma once

#include <atomic>
#include <cstdint>

#include "logging/logger.h"

namespace lumo::io::kova {

// The number of index bins of an analysis, and the memory that an index beyond it has been reported: a
// damaged file may have millions of them, and one line in the log is enough.
class BinLimit {
public:
    explicit BinLimit(std::uint32_t binCount) : bins(binCount) {}

    std::uint32_t binCount() const { return bins; }

    // To be called with each dropped index, or with the first of several; only the first call logs.
    void reportDropped(std::uint64_t index);

private:
    std::uint32_t bins;
    std::atomic_flag reported;
    logging::Logger logger = logging::Logger::getLogger("lumo.io.kova.decodeUimfRle");
};

}  // namespace lumo::io::kova
