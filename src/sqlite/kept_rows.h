#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace lumo::sqlite {

// What was made of the rows of a table, by id, for as long as nobody writes to the database. Rows that are asked
// for again are so read once, and what a writer changes is seen all the same.
//
// A file may claim any number of rows, so there is a limit, at which all of them make room for the next.
template <class Row, std::size_t kMost = 64>
class KeptRows {
public:
    // The row of an id, which `read` is called for if it is not there. `dataVersion` is that of the
    // connection in the current transaction. Valid until the next call.
    template <class Read>
    const Row& get(std::int64_t id, std::int64_t dataVersion, const Read& read) {
        if (dataVersion != version) {
            rows.clear();
            version = dataVersion;
        }
        if (const auto found = rows.find(id); found != rows.end()) {
            return found->second;
        }
        if (rows.size() >= kMost) {
            rows.clear();
        }
        return rows.emplace(id, read()).first->second;
    }

private:
    std::int64_t version = -1;
    std::unordered_map<std::int64_t, Row> rows;
};

}  // namespace lumo::sqlite
