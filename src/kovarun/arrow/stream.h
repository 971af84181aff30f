#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "kovadata/arrow_c_data.h"
#include "kovarun/arrow/column.h"

namespace lumo::run::arrow {

// Makes the record batches of a stream, one at a time, on the thread that asks. It may be destroyed at any
// time, also before the last batch, and must then end the threads that it has started.
class BatchSource {
public:
    virtual ~BatchSource() = default;

    // The same for all batches, and before the first. Valid as long as the source.
    virtual const std::vector<Field>& schema() const = 0;

    // Empty after the last batch. What it raises ends the stream.
    virtual std::optional<RecordBatch> next() = 0;
};

// Makes a stream of a source. The first failure of the source ends the stream: it becomes the stream's error
// and the thread's last error, every further call reports it again, and the source is destroyed with its
// threads.
void exportStream(std::unique_ptr<BatchSource> source, ArrowArrayStream& out);

}  // namespace lumo::run::arrow
