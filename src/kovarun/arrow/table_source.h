#pragma once

#include <utility>

#include "kovarun/arrow/stream.h"

namespace lumo::run::arrow {

// A record batch that is complete already, given out in slices of at most `rows` rows, which must be more
// than 0. An empty table gives no batch at all.
class TableSource : public BatchSource {
public:
    TableSource(std::vector<Field> columns, RecordBatch table, std::int64_t rows)
        : fields(std::move(columns)), batch(std::move(table)), sliceLength(rows) {}

    const std::vector<Field>& schema() const override { return fields; }

    std::optional<RecordBatch> next() override {
        if (given >= batch.length) {
            return std::nullopt;
        }
        const std::int64_t count = std::min(sliceLength, batch.length - given);
        given += count;
        return batch.slice(given - count, count);
    }

private:
    std::vector<Field> fields;
    RecordBatch batch;
    std::int64_t sliceLength;
    std::int64_t given = 0;
};

}  // namespace lumo::run::arrow
