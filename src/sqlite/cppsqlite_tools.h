#pragma once

#include <cstdint>
#include <optional>
#include <string>

class CppSQLite3DB;

// Single-value queries that accept exactly what was asked for and nothing else. T is one of bool,
// std::int32_t, std::uint32_t, std::int64_t and std::string. Values are converted strictly from their text:
// the whole text must be the number; flags are exactly "0" or "1".
namespace lumo::sqlite {

// Failures, each std::runtime_error, all followed by the SQL text: "Query result unexpectedly NULL: ",
// "Query result has wrong type: ", "Query resulted in more than one result: ". No row gives an empty
// optional.
template <class T>
std::optional<T> simpleCheckedOptionalQuery(CppSQLite3DB& db, const std::string& sql);

// As above, but no row fails with "Query result unexpectedly empty: ".
template <class T>
T simpleCheckedQuery(CppSQLite3DB& db, const std::string& sql);

// Value of one key of table "GlobalMetadata", for use before any reader object exists. T is bool,
// std::int32_t or std::uint32_t.
template <class T>
T getProperty(CppSQLite3DB& db, const std::string& key);

// The query of every look-up in "GlobalMetadata". The key is put into the SQL as it is, so it must be a
// constant of the program.
std::string globalMetadatumQuery(const std::string& key);

}  // namespace lumo::sqlite
