#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "analysis_format.h"
#include "sqlite/cppsqlite3.h"

namespace kova_tool {

// One row at a time of a query's result. Values of a type other than the wanted one read as absent.
class MetadataQuery {
public:
    explicit MetadataQuery(CppSQLite3Query executed) : rows(std::move(executed)) {}

    bool next();
    std::optional<std::int64_t> integer(int column) const;
    std::optional<double> real(int column) const;
    std::optional<std::string> text(int column) const;

private:
    CppSQLite3Query rows;
    bool isBegun = false;
};

// A metadata database, read as the library reads it: no trace is left beside it, and writers are followed. SQLite's errors
// are thrown as Failure.
class MetadataDatabase {
public:
    explicit MetadataDatabase(const std::string& path);

    MetadataQuery query(const std::string& sql) const;

    // Runs what reads rows in one transaction, and again from its start when a writer came or went meanwhile.
    auto inTransaction(const auto& operation) const { return connection.inTransaction(operation); }

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
    mutable CppSQLite3DB connection;
};

}  // namespace kova_tool
