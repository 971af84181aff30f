#pragma once

#include <filesystem>
#include <string>

namespace lumo::sqlite {

// A database file by the name that SQLite is given: without symbolic links, and short enough for SQLite.
class DatabaseFile {
public:
    explicit DatabaseFile(const std::filesystem::path& file);
    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;
    ~DatabaseFile();

    // False when the file, or one that SQLite reads beside it, is something that could block: a pipe or a
    // device.
    bool isPlain() const;

    // Valid during the lifetime of the object. Empty when there is no such file.
    const std::string& name() const { return nameForSqlite; }

private:
    int directory = -1;  // which a long name begins with
    std::string nameForSqlite;
};

}  // namespace lumo::sqlite
