#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

struct sqlite3;

namespace lumo::sqlite {

// How much work a query may be. The schema of a file may hold views of any kind, endless ones too. What a
// query on tables needs grows with the size of the file, so that is what its work is held against. Belongs to
// one connection and its thread.
class WorkLimit {
public:
    // For a connection to this file. `file` may still be growing.
    explicit WorkLimit(const std::filesystem::path& file);
    WorkLimit(const WorkLimit&) = delete;
    WorkLimit& operator=(const WorkLimit&) = delete;

    // The connection interrupts whatever exceeds the limit. The limit must live as long as it runs
    // statements.
    void watch(sqlite3* connection);

    // What one query has used; long texts may do more.
    struct Query {
        std::uint64_t textLength = 0;
        std::uint64_t used = 0;
    };

    // The query that the connection's next steps belong to.
    void charge(Query& query) { current = &query; }
    void endCharge() { current = nullptr; }

private:
    static int countSteps(void* limit);
    bool isExceeded(const Query& query) const;

    std::filesystem::path file;
    std::filesystem::path log;
    Query* current = nullptr;
};

}  // namespace lumo::sqlite
