#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "diag/assert.h"
#include "kovarun/arrow/column.h"

// Columns that grow row by row, for tables of metadata and for lists. Peaks, of which there are millions, are
// written straight into buffers of the right size instead (peaks/peak_columns.h). Layouts are those of the
// Arrow columnar format: validity and flags are bits, the first row in the lowest bit; offsets are 32 bits
// wide and one more than rows.
//
// A builder serves one thread and one column. intoColumn() hands its memory over, so nothing may be appended
// afterwards.
namespace lumo::run::arrow {

// One bit per row, kept only once there is a null: most columns have none, and need no bits at all.
class Validity {
public:
    void appendValue() {
        if (nulls != 0) {
            bits.resize(rows / 8 + 1, 0xFF);
        }
        ++rows;
    }
    void appendNull() {
        bits.resize(rows / 8 + 1, 0xFF);
        bits[rows / 8] = static_cast<std::uint8_t>(bits[rows / 8] & ~(1U << rows % 8));
        ++nulls;
        ++rows;
    }
    template <class T>
    void append(const std::optional<T>& value) {
        value ? appendValue() : appendNull();
    }
    std::size_t length() const { return rows; }
    // Starts a column with length, number of nulls and validity; the builder is used up.
    Column intoColumn() {
        Column column;
        column.length = static_cast<std::int64_t>(rows);
        column.nullCount = static_cast<std::int64_t>(nulls);
        column.buffers.push_back(nulls != 0 ? toBuffer(std::move(bits)) : nullptr);
        return column;
    }

private:
    std::vector<std::uint8_t> bits;
    std::size_t rows = 0;
    std::size_t nulls = 0;
};

// Numbers, some of which may be null. A null holds 0, so no memory that was never written leaves the library.
template <class T>
class NumberBuilder {
public:
    static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>);

    void append(T value) {
        values.push_back(value);
        validity.appendValue();
    }
    void append(const std::optional<T>& value) {
        values.push_back(value.value_or(T{}));
        validity.append(value);
    }
    std::size_t length() const { return validity.length(); }
    Column intoColumn() {
        Column column = validity.intoColumn();
        column.buffers.push_back(toBuffer(std::move(values)));
        return column;
    }

private:
    std::vector<T> values;
    Validity validity;
};

// Flags take a bit each, as the format has them.
class FlagBuilder {
public:
    void append(std::optional<bool> value) {
        if (validity.length() % 8 == 0) {
            bits.push_back(0);
        }
        const unsigned bit = value.value_or(false) ? 1U : 0U;
        bits.back() = static_cast<std::uint8_t>(bits.back() | bit << validity.length() % 8);
        validity.append(value);
    }
    Column intoColumn() {
        Column column = validity.intoColumn();
        column.buffers.push_back(toBuffer(std::move(bits)));
        return column;
    }

private:
    std::vector<std::uint8_t> bits;
    Validity validity;
};

// Offsets of lists and texts. The format gives them 32 bits, which append() trusts its caller not to exceed:
// ask hasRoom() first.
class Offsets {
public:
    bool hasRoom(std::size_t more) const {
        return more <= static_cast<std::size_t>(INT32_MAX - offsets.back());
    }
    void append(std::size_t size) {
        LUMO_ASSERT(hasRoom(size));
        offsets.push_back(offsets.back() + static_cast<std::int32_t>(size));
    }
    // The first offset is 0, so even an empty column has one.
    Buffer intoBuffer() { return toBuffer(std::move(offsets)); }

private:
    std::vector<std::int32_t> offsets{0};
};

// Texts end to end, with the offset of each. They must be valid UTF-8, on which consumers rely without
// looking.
class TextBuilder {
public:
    void append(std::optional<std::string_view> value) {
        const std::string_view text = value.value_or(std::string_view());
        bytes.insert(bytes.end(), text.begin(), text.end());
        offsets.append(text.size());
        validity.append(value);
    }
    bool hasRoom(std::size_t more) const { return offsets.hasRoom(more); }
    Column intoColumn() {
        Column column = validity.intoColumn();
        column.buffers.push_back(offsets.intoBuffer());
        column.buffers.push_back(toBuffer(std::move(bytes)));
        return column;
    }

private:
    std::vector<char> bytes;
    Offsets offsets;
    Validity validity;
};

// Lists of different lengths end to end, with the offset of each.
template <class T>
class ListBuilder {
public:
    void append(const T* values, std::size_t size) {
        entries.insert(entries.end(), values, values + size);
        offsets.append(size);
        validity.appendValue();
    }
    // A null is an empty list whose bit is not set.
    void appendNull() {
        offsets.append(0);
        validity.appendNull();
    }
    bool hasRoom(std::size_t more) const { return offsets.hasRoom(more); }
    std::size_t length() const { return validity.length(); }
    Column intoColumn() {
        Column column = validity.intoColumn();
        column.buffers.push_back(offsets.intoBuffer());
        const std::size_t size = entries.size();
        column.children.push_back(numbers(size, toBuffer(std::move(entries))));
        return column;
    }

private:
    std::vector<T> entries;
    Offsets offsets;
    Validity validity;
};

}  // namespace lumo::run::arrow
