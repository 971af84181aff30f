#pragma once

#include <filesystem>
#include <string>

struct sqlite3;

// A database file as SQLite has to be told of it.
class DatabaseFile {
public:
    explicit DatabaseFile(std::filesystem::path databaseFile) : file(std::move(databaseFile)) {}

    // False when the file, or one that SQLite reads beside it, is something that could block: a pipe or a device.
    bool isPlain() const;

    // The name for an open without and with SQLITE_OPEN_URI; the latter says that nobody changes the file.
    std::string name() const;
    std::string immutableUri() const;

    // True when the file of this connection, not read yet, is in write-ahead mode but nobody has it open for writing.
    // Reading it would create files beside it, or fail where that is not allowed.
    bool isIdleInWriteAheadMode(sqlite3* connection) const;

private:
    std::filesystem::path beside(const char* suffix) const;

    std::filesystem::path file;
};
