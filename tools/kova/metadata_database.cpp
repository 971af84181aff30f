#include "metadata_database.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "failure.h"

namespace kova_tool {
namespace {

// An acquisition may be writing; its locks are short.
constexpr int kBusyTimeoutMs = 15000;

// True for a database in write-ahead mode that nobody writes: SQLite would make files beside it.
bool isIdleInWriteAheadMode(const std::string& path) {
    constexpr std::string_view kWriteAhead = "\2\2";
    std::error_code error;
    if (std::filesystem::exists(path + "-wal", error)) {
        return false;
    }
    char header[20] = {};
    std::ifstream(path, std::ios::binary).read(header, sizeof header);
    return std::string_view(header + 18, 2) == kWriteAhead;
}

// Nothing is written beside the database, whatever its mode.
std::string uriOf(const std::string& path) {
    constexpr std::string_view kHexDigits = "0123456789ABCDEF";
    const std::string absolute = std::filesystem::absolute(path).string();
    std::string uri = "file:";
    // Two leading slashes would begin a host name.
    for (const char character : std::string_view(absolute).substr(absolute.find_first_not_of('/') - 1)) {
        if (std::string_view("%?#").find(character) == std::string_view::npos) {
            uri += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            uri += {'%', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]};
        }
    }
    return uri + (isIdleInWriteAheadMode(path) ? "?immutable=1" : "?readonly_shm=1");
}

}  // namespace

MetadataQuery::MetadataQuery(sqlite3* database, const std::string& sql) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
        throw Failure(sqlite3_errmsg(database));
    }
    statement.reset(prepared);
}

bool MetadataQuery::next() {
    const int result = sqlite3_step(statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw Failure(sqlite3_errmsg(sqlite3_db_handle(statement.get())));
    }
    return result == SQLITE_ROW;
}

std::optional<std::int64_t> MetadataQuery::integer(int column) const {
    if (sqlite3_column_type(statement.get(), column) != SQLITE_INTEGER) {
        return std::nullopt;
    }
    return sqlite3_column_int64(statement.get(), column);
}

std::optional<double> MetadataQuery::real(int column) const {
    const int type = sqlite3_column_type(statement.get(), column);
    if (type != SQLITE_FLOAT && type != SQLITE_INTEGER) {
        return std::nullopt;
    }
    return sqlite3_column_double(statement.get(), column);
}

std::optional<std::string> MetadataQuery::text(int column) const {
    const unsigned char* bytes = sqlite3_column_text(statement.get(), column);
    if (bytes == nullptr) {
        return std::nullopt;
    }
    const int length = sqlite3_column_bytes(statement.get(), column);
    return std::string(bytes, bytes + length);
}

MetadataDatabase::MetadataDatabase(const std::string& path) {
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(uriOf(path).c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    connection.reset(opened);
    if (result != SQLITE_OK) {
        throw Failure(path + ": " + (opened != nullptr ? sqlite3_errmsg(opened) : sqlite3_errstr(result)));
    }
    sqlite3_busy_timeout(opened, kBusyTimeoutMs);
}

std::optional<std::int64_t> MetadataDatabase::integer(const std::string& sql) const {
    MetadataQuery rows = query(sql);
    return rows.next() ? rows.integer(0) : std::nullopt;
}

std::set<std::string> MetadataDatabase::columns(const std::string& table) const {
    std::set<std::string> names;
    MetadataQuery rows = query("SELECT name FROM pragma_table_info('" + table + "')");
    while (rows.next()) {
        names.insert(rows.text(0).value_or(""));
    }
    return names;
}

std::optional<std::string> MetadataDatabase::globalMetadatum(const std::string& key) const {
    MetadataQuery rows = query("SELECT Value FROM GlobalMetadata WHERE Key='" + key + "'");
    return rows.next() ? rows.text(0) : std::nullopt;
}

std::int64_t MetadataDatabase::globalNumber(const std::string& key) const {
    const std::string text = globalMetadatum(key).value_or("0");
    std::int64_t number = 0;
    std::from_chars(text.data() + (text.starts_with('+') ? 1 : 0), text.data() + text.size(), number);
    return number;
}

// Defined as a product of 32 bits. Without mobility the scale factor may be missing.
std::uint32_t MetadataDatabase::indexBins(AnalysisFormat format) const {
    const auto samples = static_cast<std::uint32_t>(globalNumber("DigitizerNumSamples"));
    const bool isScaled =
        format == AnalysisFormat::mobility || globalMetadatum("PeakListIndexScaleFactor").has_value();
    return isScaled ? samples * static_cast<std::uint32_t>(globalNumber("PeakListIndexScaleFactor"))
                    : samples;
}

}  // namespace kova_tool
