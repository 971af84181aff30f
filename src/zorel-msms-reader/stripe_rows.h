#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "process-frames/closed_interval.h"

namespace lumo::io::kova {
class KvdReader;
}

namespace lumo::io::algorithms {

using lumo::algorithm::ClosedInterval;

// A precursor in one of the frames in which it was fragmented: a row of the join of "Precursors" and
// "ZorelFrameMsMsInfo".
struct StripeRow {
    std::int64_t id;
    std::int64_t parent;
    std::int64_t frame;
    std::int64_t scanBegin;
    std::int64_t scanEnd;
    double scanNumber;
};

// Which precursors are read. All conditions that are set must hold.
struct PrecursorFilter {
    std::optional<std::vector<std::int64_t>> ids = std::nullopt;
    std::optional<std::int64_t> parent = std::nullopt;
    std::optional<ClosedInterval<double>> time = std::nullopt;  // of the parent frame
};

// Raises std::runtime_error "No Precursor table found. This is not a ZOREL analysis".
void requirePrecursorTable(const kova::KvdReader& reader);

// By parents, frames and ids; or as the database finds them, which takes a third of the time where there are
// millions.
enum class RowOrder : std::uint8_t { ByParent, AsFound };

// Hands over the rows. Called inside a transaction that may run twice, so `take` must be able to begin again.
void readStripeRows(const kova::KvdReader& reader, const PrecursorFilter& filter, RowOrder order,
                    const std::function<void(const StripeRow&)>& take);

}  // namespace lumo::io::algorithms
