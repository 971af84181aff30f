#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "analysis_format.h"

namespace kova_tool {

// One row at a time of a query's result. Values of a type other than the wanted one read as absent.
class MetadataQuery {
public:
    MetadataQuery(sqlite3* database, const std::string& sql);

    bool next();
    std::optional<std::int64_t> integer(int column) const;
    std::optional<double> real(int column) const;
    std::optional<std::string> text(int column) const;

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    std::unique_ptr<sqlite3_stmt, Finalizer> statement;
};

// A metadata database, opened for reading only. SQLite's errors are thrown as Failure.
class MetadataDatabase {
public:
    explicit MetadataDatabase(const std::string& path);

    MetadataQuery query(const std::string& sql) const { return {connection.get(), sql}; }
    std::optional<std::int64_t> integer(const std::string& sql) const;

    // Names of a table's columns; empty if there is no such table.
    std::set<std::string> columns(const std::string& table) const;
    bool hasTable(const std::string& table) const { return !columns(table).empty(); }

    // Value of a key of GlobalMetadata; as a number, 0 if there is none.
    std::optional<std::string> globalMetadatum(const std::string& key) const;
    std::int64_t globalNumber(const std::string& key) const;

    // Number of time-of-flight indices that a peak can have.
    std::uint32_t indexBins(AnalysisFormat format) const;

private:
    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close(database); }
    };
    std::unique_ptr<sqlite3, Closer> connection;
};

}  // namespace kova_tool
