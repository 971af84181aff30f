#pragma once

#include <kovadata/arrow_c_data.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kova/output/cell.h"

namespace kova_tool {

// One column of the batch that an ArrowStream holds, valid until its next one. The caller knows the type of
// the column: nothing is checked.
class ArrowColumn {
public:
    ArrowColumn(const ArrowArray& columnArray, const char* arrowFormat, std::int64_t firstRow,
                std::size_t rows)
        : array(&columnArray), format(arrowFormat), first(columnArray.offset + firstRow), length(rows) {}

    bool isNull(std::size_t row) const { return array->buffers[0] != nullptr && !bit(0, row); }

    template <class T>
    std::span<const T> values() const {
        return {buffer<T>(*array, 1) + first, length};
    }
    template <class T>
    std::optional<T> value(std::size_t row) const {
        return isNull(row) ? std::nullopt : std::optional(values<T>()[row]);
    }
    std::optional<bool> flag(std::size_t row) const {
        return isNull(row) ? std::nullopt : std::optional(bit(1, row));
    }
    std::optional<std::string> text(std::size_t row) const;
    Cell cellAt(std::size_t row) const;  // of a column of numbers, by the type that the stream states

    template <class T>
    std::span<const T> list(std::size_t row) const {
        const std::int32_t* const offsets = buffer<std::int32_t>(*array, 1) + first + row;
        return entries<T>().subspan(static_cast<std::size_t>(offsets[0]),
                                    static_cast<std::size_t>(offsets[1] - offsets[0]));
    }
    // Of a column whose lists all have this size.
    template <class T>
    std::span<const T> fixedList(std::size_t row, std::size_t size) const {
        return entries<T>().subspan((static_cast<std::size_t>(first) + row) * size, size);
    }

private:
    template <class T>
    static const T* buffer(const ArrowArray& of, std::size_t number) {
        return static_cast<const T*>(of.buffers[number]);
    }
    template <class T>
    std::span<const T> entries() const {
        const ArrowArray& child = *array->children[0];
        return {buffer<T>(child, 1) + child.offset, static_cast<std::size_t>(child.length)};
    }
    bool bit(std::size_t number, std::size_t row) const {
        const std::size_t place = static_cast<std::size_t>(first) + row;
        const unsigned byte = buffer<std::uint8_t>(*array, number)[place / 8];
        return (byte >> place % 8 & 1U) != 0;
    }

    const ArrowArray* array;
    const char* format;
    std::int64_t first;
    std::size_t length;
};

// A stream of record batches from the library, one batch at a time. Failures are thrown as Failure; a call
// that the user ended by Ctrl-C as Interrupted.
class ArrowStream {
public:
    // The call of the library that fills in the stream.
    explicit ArrowStream(const std::function<std::uint32_t(ArrowArrayStream*)>& open);
    ~ArrowStream();
    ArrowStream(const ArrowStream&) = delete;
    ArrowStream& operator=(const ArrowStream&) = delete;

    // Goes on to the next batch; false at the end.
    bool next();

    std::size_t rows() const { return static_cast<std::size_t>(batch.length); }
    ArrowColumn column(std::string_view name) const;

private:
    ArrowArrayStream stream = {};
    ArrowSchema schema = {};
    ArrowArray batch = {};
};

}  // namespace kova_tool
