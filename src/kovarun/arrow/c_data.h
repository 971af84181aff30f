#pragma once

#include <vector>

#include "kovadata/arrow_c_data.h"
#include "kovarun/arrow/column.h"

// Hands schemas and record batches to other programs as the structures of the Arrow C data interface. What is
// exported owns what it needs, depends on nothing else here, and is freed by its release callback.
namespace lumo::run::arrow {

// A record batch is exported as a struct column with the fields as children, which is how the interface
// spells a table. `out` is overwritten; what it held before is not released.
void exportSchema(const std::vector<Field>& fields, ArrowSchema& out);
void exportBatch(RecordBatch&& batch, ArrowArray& out);

}  // namespace lumo::run::arrow
