#include "kova/run/arrow_stream.h"

#include <stdexcept>

#include "common/interruption.h"
#include "kova/failure.h"
#include "kova/run/last_error.h"

// The structures of a stream are released as soon as they are not needed: batches before the next one, as
// each may be many megabytes.
namespace kova_tool {
namespace {

template <class Released>
void release(Released& object) {
    if (object.release != nullptr) {
        object.release(&object);
    }
    object = {};
}

// A call that the user ended is no failure, though the library reports it as one.
[[noreturn]] void fail(const std::string& text) {
    kova_tool_common::stopIfInterrupted();
    throw Failure(text);
}

}  // namespace

std::optional<std::string> ArrowColumn::text(std::size_t row) const {
    if (isNull(row)) {
        return std::nullopt;
    }
    const std::int32_t* const offsets = buffer<std::int32_t>(*array, 1) + first + row;
    return std::string(buffer<char>(*array, 2) + offsets[0], buffer<char>(*array, 2) + offsets[1]);
}

Cell ArrowColumn::cellAt(std::size_t row) const {
    switch (*format) {
        case 'l':
            return cell(value<std::int64_t>(row));
        case 'I':
            return cell(value<std::uint32_t>(row));
        case 'L':
            return cell(value<std::uint64_t>(row));
        default:
            return cell(value<double>(row));
    }
}

ArrowStream::ArrowStream(const std::function<std::uint32_t(ArrowArrayStream*)>& open) {
    if (open(&stream) == 0) {
        fail(lastRunError());
    }
    if (stream.get_schema(&stream, &schema) != 0) {
        const std::string text = stream.get_last_error(&stream);
        release(stream);
        fail(text);
    }
}

ArrowStream::~ArrowStream() {
    release(batch);
    release(schema);
    release(stream);
}

bool ArrowStream::next() {
    release(batch);
    if (stream.get_next(&stream, &batch) != 0) {
        batch = {};
        fail(stream.get_last_error(&stream));
    }
    return batch.release != nullptr;
}

ArrowColumn ArrowStream::column(std::string_view name) const {
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        if (name == schema.children[i]->name) {
            return {*batch.children[i], schema.children[i]->format, batch.offset, rows()};
        }
    }
    throw std::logic_error("the stream has no column " + std::string(name));
}

}  // namespace kova_tool
