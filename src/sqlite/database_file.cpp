#include "sqlite/database_file.h"

#include <cstdlib>
#include <initializer_list>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

// SQLite makes the names of the files beside a database by adding suffixes to its name, and takes names of a
// limited length. A name in which links are resolved leads to the same files that the writer uses. A name
// that is too long is replaced by one through a descriptor of its directory, which the object keeps open.
namespace lumo::sqlite {

namespace fs = std::filesystem;

namespace {

// SQLite takes names of 512 bytes, and adds suffixes.
constexpr std::size_t kLongestName = 500;

bool isPlainOrAbsent(const std::string& path) {
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    return type == fs::file_type::regular || type == fs::file_type::not_found;
}

// Absolute, without symbolic links: the files beside a database are beside the file itself.
std::string resolved(const fs::path& file) {
    const std::unique_ptr<char, decltype(&std::free)> path(realpath(file.c_str(), nullptr), std::free);
    return path != nullptr ? path.get() : "";
}

}  // namespace

DatabaseFile::DatabaseFile(const fs::path& file) : nameForSqlite(resolved(file)) {
    if (nameForSqlite.size() <= kLongestName) {
        return;
    }
    const fs::path path = nameForSqlite;
    directory = open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    nameForSqlite.clear();
    if (directory >= 0) {
        try {
            nameForSqlite = "/proc/self/fd/" + std::to_string(directory) + "/" + path.filename().string();
        } catch (...) {
            ::close(directory);
            throw;
        }
    }
}

DatabaseFile::~DatabaseFile() {
    if (directory >= 0) {
        ::close(directory);
    }
}

// Opening a pipe or a device in the place of one of the files could wait forever or do harm.
bool DatabaseFile::isPlain() const {
    for (const char* const suffix : {"", "-wal", "-shm", "-journal"}) {
        if (!isPlainOrAbsent(nameForSqlite + suffix)) {
            return false;
        }
    }
    return !nameForSqlite.empty();
}

}  // namespace lumo::sqlite
