#include "sqlite/work_limit.h"

#include <sqlite3.h>

#include "sys/fork_gate.h"

// What a query may cost. A schema can hide a view that computes for hours under the name of a table, so each
// query has an allowance that grows with its text and with the size of the database: more than any honest
// query needs, and used up in seconds. SQLite calls back from time to time; that is also when a fork that
// waits is let pass.
namespace lumo::sqlite {

namespace {

// Steps of SQLite's virtual machine between two looks at the limit: some milliseconds.
constexpr int kStepsPerLook = 1'000'000;

constexpr std::uint64_t kFreeSteps = 10'000'000;
// A byte of text stands for a few steps at most, a byte of the file for far fewer, even when each row is
// compared with many others.
constexpr std::uint64_t kStepsPerByteOfText = 10;
constexpr std::uint64_t kStepsPerByteOfFile = 1'000;

std::uint64_t sizeOf(const std::filesystem::path& file) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    return error ? 0 : size;
}

}  // namespace

WorkLimit::WorkLimit(const std::filesystem::path& databaseFile) : file(databaseFile), log(databaseFile) {
    log += "-wal";
}

void WorkLimit::watch(sqlite3* connection) {
    sqlite3_progress_handler(connection, kStepsPerLook, countSteps, this);
}

int WorkLimit::countSteps(void* context) {
    sys::letForkPass();
    const auto& limit = *static_cast<const WorkLimit*>(context);
    if (limit.current == nullptr) {
        return 0;
    }
    limit.current->used += kStepsPerLook;
    return limit.isExceeded(*limit.current) ? 1 : 0;
}

// The size of the files is asked for only when the free part is used up, which honest queries on small files
// never reach.
bool WorkLimit::isExceeded(const Query& query) const {
    const std::uint64_t alwaysAllowed = kFreeSteps + kStepsPerByteOfText * query.textLength;
    return query.used > alwaysAllowed &&
           (query.used - alwaysAllowed) / kStepsPerByteOfFile > sizeOf(file) + sizeOf(log);
}

}  // namespace lumo::sqlite
