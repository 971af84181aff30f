#pragma once

#include <memory>

#include "kovarun/arrow/stream.h"
#include "kovarun/query/query.h"
#include "kovarun/run/control.h"

namespace lumo::run {

// The peaks of a query, in batches of at most `control.batchSize` rows. Successive small frames share a
// batch.
std::unique_ptr<arrow::BatchSource> makePeakStream(std::shared_ptr<Run> run, Query query,
                                                   std::uint32_t columns, const Control& control);

}  // namespace lumo::run
