#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace lumo::sqlite {

// What was made of the rows of a table, by id, for as long as nobody writes to the database. Rows that many
// others refer to are so read once, and what a writer changes is seen all the same.
//
// A file may claim any number of rows, so there is a limit.
template <class Row, std::size_t kMost = 64>
class KeptRows {
public:
    // The row of an id, which `read` is called for if it is not there. `dataVersion` is that of the
    // connection in the current transaction. Valid until the next call.
    template <class Read>
    const Row& get(std::int64_t id, std::int64_t dataVersion, const Read& read) {
        if (dataVersion != version || rows.size() >= kMost) {
            rows.clear();
            version = dataVersion;
        }
        const auto found = rows.find(id);
        return found != rows.end() ? found->second : rows.emplace(id, read()).first->second;
    }

private:
    std::int64_t version = -1;
    std::unordered_map<std::int64_t, Row> rows;
};

}  // namespace lumo::sqlite
