#pragma once

#include <vector>

#include "kovadata/arrow_c_data.h"
#include "kovarun/arrow/column.h"

// Hands schemas and record batches to other programs by the structures of the Arrow C data interface. What is
// exported is independent of everything else here: it owns what it needs and is freed by its release
// callback.
namespace lumo::run::arrow {

// A record batch is exported as a struct column with the fields as children.
void exportSchema(const std::vector<Field>& fields, ArrowSchema& out);
void exportBatch(RecordBatch&& batch, ArrowArray& out);

}  // namespace lumo::run::arrow
