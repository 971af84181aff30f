#include "run/table.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace run {

namespace {

void require(bool holds, const std::string& what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

template <class T>
double valueAt(const ArrowArray& array, std::int64_t place) {
    return static_cast<double>(static_cast<const T*>(array.buffers[1])[place]);
}

// Sums of the tests fit into a double.
double numberAt(const char* format, const ArrowArray& array, std::int64_t place) {
    switch (*format) {
        case 'l':
            return valueAt<std::int64_t>(array, place);
        case 'L':
            return valueAt<std::uint64_t>(array, place);
        case 'i':
            return valueAt<std::int32_t>(array, place);
        case 'I':
            return valueAt<std::uint32_t>(array, place);
        case 'c':
            return valueAt<std::int8_t>(array, place);
        case 'f':
            return valueAt<float>(array, place);
        case 'g':
            return valueAt<double>(array, place);
        case 'b':
            return static_cast<const std::uint8_t*>(array.buffers[1])[place / 8] >> place % 8 & 1;
        default:
            throw std::logic_error(std::string("format ") + format);
    }
}

std::vector<double> cellAt(const ArrowSchema& schema, const ArrowArray& array, std::int64_t row) {
    const std::int64_t place = row + array.offset;
    const auto* const valid = static_cast<const std::uint8_t*>(array.buffers[0]);
    if (valid != nullptr && (valid[place / 8] >> place % 8 & 1) == 0) {
        require((schema.flags & ARROW_FLAG_NULLABLE) != 0 && array.null_count != 0, "null without notice");
        return {};
    }
    if (schema.format[0] == 'u') {
        const auto* const ends = static_cast<const std::int32_t*>(array.buffers[1]) + place;
        const auto* const bytes = static_cast<const std::uint8_t*>(array.buffers[2]);
        return ends[0] == ends[1] ? std::vector<double>{-1}
                                  : std::vector<double>(bytes + ends[0], bytes + ends[1]);
    }
    if (schema.format[0] != '+') {
        return {numberAt(schema.format, array, place)};
    }
    std::int64_t begin = 0;
    std::int64_t end = 0;
    if (schema.format[1] == 'w') {
        const std::int64_t width = std::stoll(schema.format + 3);
        begin = place * width;
        end = begin + width;
    } else {
        const auto* const offsets = static_cast<const std::int32_t*>(array.buffers[1]);
        begin = offsets[place];
        end = offsets[place + 1];
    }
    std::vector<double> values;
    for (; begin < end; ++begin) {
        values.push_back(
            numberAt(schema.children[0]->format, *array.children[0], begin + array.children[0]->offset));
    }
    return values;
}

}  // namespace

std::string lastError() {
    std::array<char, 1024> text{};
    kvr_get_last_error_string(text.data(), text.size());
    return text.data();
}

OpenRun::OpenRun(const fixtures::AnalysisBuilder& builder, kvr_options options) : run(nullptr) {
    open(builder.write(directory.path()), options);
}

OpenRun::OpenRun(const std::filesystem::path& analysis, kvr_options options) : run(nullptr) {
    open(analysis, options);
}

void OpenRun::open(const std::filesystem::path& analysis, kvr_options options) {
    options.size = sizeof options;
    run = kvr_open(analysis.c_str(), &options);
    require(run != nullptr, lastError());
}

int Stream::next(std::int64_t& rows) {
    ArrowArray batch{};
    const int code = get_next(this, &batch);
    rows = batch.length;
    if (batch.release != nullptr) {
        batch.release(&batch);
    }
    return code;
}

int Stream::readAll(Table& table, std::int64_t batchSize) {
    ArrowSchema schema{};
    if (const int code = get_schema(this, &schema)) {
        return code;
    }
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        table[schema.children[i]->name];
    }
    int code = 0;
    for (;;) {
        ArrowArray batch{};
        code = get_next(this, &batch);
        if (code != 0 || batch.release == nullptr) {
            break;
        }
        require(batch.length <= batchSize, "batch too long");
        for (std::int64_t i = 0; i < schema.n_children; ++i) {
            for (std::int64_t row = 0; row < batch.length; ++row) {
                table[schema.children[i]->name].push_back(
                    cellAt(*schema.children[i], *batch.children[i], row));
            }
        }
        batch.release(&batch);
    }
    schema.release(&schema);
    return code;
}

Table read(const std::function<std::uint32_t(ArrowArrayStream*)>& make, std::int64_t batchSize) {
    Stream stream;
    const bool isMade = make(&stream) == 1;
    require(isMade, lastError());
    Table table;
    const bool isRead = stream.readAll(table, batchSize) == 0;
    require(isRead, isRead ? "" : stream.get_last_error(&stream));
    return table;
}

std::string failureOf(const std::function<std::uint32_t(ArrowArrayStream*)>& make) {
    try {
        read(make);
        return "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

kvr_control control(std::uint32_t threads, std::uint64_t batchSize) {
    kvr_control made = {};
    made.size = sizeof made;
    made.threads = threads;
    made.batch_size = batchSize;
    return made;
}

kvr_query emptyQuery() {
    kvr_query made = {};
    made.size = sizeof made;
    return made;
}

}  // namespace run
