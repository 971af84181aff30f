#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "kovadata/arrow_c_data.h"
#include "kovarun/arrow/column.h"

namespace lumo::run::arrow {

// Makes the record batches of a stream, one at a time, on the thread that asks. Destroyed when the stream is
// released, at any time.
class BatchSource {
public:
    virtual ~BatchSource() = default;

    // The same for all batches.
    virtual const std::vector<Field>& schema() const = 0;

    // Empty after the last batch. What it raises ends the stream.
    virtual std::optional<RecordBatch> next() = 0;
};

// Makes a stream of a source. The first failure of the source ends the stream: it becomes the stream's error
// and the thread's last error, every further call gives it again, and the source is destroyed at once, its
// threads with it.
void exportStream(std::unique_ptr<BatchSource> source, ArrowArrayStream& out);

}  // namespace lumo::run::arrow
