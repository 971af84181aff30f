#include "kovarun/arrow/column.h"

#include "diag/assert.h"

namespace lumo::run::arrow {

// The part shares the buffers of the whole and only begins elsewhere in them, so cutting a group into batches
// of the size that was asked for copies nothing. Its nulls are not counted where that would take a look at
// the bits.
RecordBatch RecordBatch::slice(std::int64_t begin, std::int64_t count) const {
    LUMO_ASSERT(begin >= 0 && count >= 0 && begin + count <= length);
    RecordBatch part{count, columns};
    for (Column& column : part.columns) {
        column.offset += begin;
        column.length = count;
        if (column.nullCount != 0 && column.nullCount != length) {
            column.nullCount = -1;  // not counted, which the interface allows
        } else if (column.nullCount == length) {
            column.nullCount = count;
        }
    }
    return part;
}

Column numbers(std::size_t length, Buffer values) {
    Column column;
    column.length = static_cast<std::int64_t>(length);
    column.buffers = {nullptr, std::move(values)};
    return column;
}

// Lists of equal size need no offsets: the format of their field states the size.
Column fixedSizeLists(std::size_t length, std::size_t width, Buffer values) {
    Column column;
    column.length = static_cast<std::int64_t>(length);
    column.buffers = {nullptr};
    column.children.push_back(numbers(length * width, std::move(values)));
    return column;
}

}  // namespace lumo::run::arrow
