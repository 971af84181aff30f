#include "sqlite/database_file.h"

#include <array>
#include <string_view>

#include <sqlite3.h>

namespace fs = std::filesystem;

namespace {

bool isPlainOrAbsent(const fs::path& path) {
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    return type == fs::file_type::regular || type == fs::file_type::not_found;
}

}  // namespace

fs::path DatabaseFile::beside(const char* suffix) const {
    fs::path path = file;
    path += suffix;
    return path;
}

bool DatabaseFile::isPlain() const {
    return isPlainOrAbsent(file) && isPlainOrAbsent(beside("-wal")) && isPlainOrAbsent(beside("-journal"));
}

// SQLite may have been built to take names that begin with "file:" for URIs.
std::string DatabaseFile::name() const {
    const std::string text = file.string();
    return text.starts_with("file:") ? "./" + text : text;
}

std::string DatabaseFile::immutableUri() const {
    constexpr std::string_view kHexDigits = "0123456789ABCDEF";
    std::string uri = "file:";
    const std::string path = fs::absolute(file).string();
    // Two leading slashes would begin a host name.
    for (const char character : std::string_view(path).substr(path.find_first_not_of('/') - 1)) {
        if (std::string_view("%?#").find(character) == std::string_view::npos) {
            uri += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            uri += {'%', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]};
        }
    }
    return uri + "?immutable=1";
}

// The bytes are read with SQLite's own descriptor: closing another one would release its locks on the file.
bool DatabaseFile::isIdleInWriteAheadMode(sqlite3* connection) const {
    constexpr sqlite3_int64 kFormatVersions = 18;
    constexpr std::array<unsigned char, 2> kWriteAhead = {2, 2};
    std::error_code error;
    if (fs::exists(beside("-wal"), error) || error) {
        return false;
    }
    sqlite3_file* opened = nullptr;
    std::array<unsigned char, 2> versions{};
    return sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &opened) == SQLITE_OK &&
           opened != nullptr && opened->pMethods != nullptr &&
           opened->pMethods->xRead(opened, versions.data(), versions.size(), kFormatVersions) == SQLITE_OK &&
           versions == kWriteAhead;
}
