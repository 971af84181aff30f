#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kovarun/arrow/memory.h"

// What record batches are made of, after the Arrow columnar format: a column is a type (Field) and buffers.
// Buffers are shared and never changed once a column has them, so whoever holds a column keeps them alive, on
// any thread: a batch that waits, a slice of one, or an array that was exported.
namespace lumo::run::arrow {

// Name and type of a column. Formats are those of the Arrow C data interface, for example "l" for int64, "+l"
// for a list.
enum class Nulls : std::uint8_t { None, Possible };

struct Field {
    std::string name;
    std::string format;
    Nulls nulls = Nulls::None;
    std::vector<Field> children = {};
};

using Buffer = std::shared_ptr<const void>;

// Which buffers and children a column has, and in which order, follows from the format of its field; nothing
// here checks that the two match.
struct Column {
    std::int64_t length = 0;
    std::int64_t nullCount = 0;
    std::int64_t offset = 0;       // of the first row in the buffers
    std::vector<Buffer> buffers;   // validity first; an empty pointer where there is none
    std::vector<Column> children;  // of lists
};

// Columns of equal length, in the order of a schema.
struct RecordBatch {
    std::int64_t length = 0;
    std::vector<Column> columns;

    // Rows [begin, begin + count) of it, without a copy.
    RecordBatch slice(std::int64_t begin, std::int64_t count) const;
};

// Takes over a vector as a buffer.
template <class T>
Buffer toBuffer(std::vector<T>&& values) {
    auto owner = std::make_shared<std::vector<T>>(std::move(values));
    const void* data = owner->data();
    return {std::move(owner), data};
}

// Memory for `count` values, not initialised: the caller writes all of them before anybody sees the column.
template <class T>
struct Values {
    std::shared_ptr<T[]> data;
    std::size_t count = 0;

    explicit Values(std::size_t size = 0) : data(takeMemoryFor<T>(size)), count(size) {}
    Buffer buffer() const { return {data, data.get()}; }
};

// A column of numbers without nulls.
Column numbers(std::size_t length, Buffer values);

// A column without nulls of `length` lists of `width` values each.
Column fixedSizeLists(std::size_t length, std::size_t width, Buffer values);

}  // namespace lumo::run::arrow
