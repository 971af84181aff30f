#include "sqlite/cppsqlite_tools.h"

#include <stdexcept>

#include "diag/throw.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/lexical_conversion.h"

// Queries that must give one value. Anything else (no row, two rows, NULL, a text that is no number of the
// wanted type) is refused with a text that shows the query: in a damaged database that says best where to
// look. Values are read as text and converted strictly, as SQLite's own conversion turns any text into 0.
namespace lumo::sqlite {

template <class T>
std::optional<T> simpleCheckedOptionalQuery(CppSQLite3DB& db, const std::string& sql) {
    return db.inTransaction([&]() -> std::optional<T> {
        CppSQLite3Query query = db.execQuery(sql);
        if (query.eof()) {
            return std::nullopt;
        }
        if (query.fieldIsNull(0)) {
            LUMO_THROW(std::runtime_error("Query result unexpectedly NULL: " + sql));
        }
        std::optional<T> value = convertLexically<T>(query.getStringField(0));
        if (!value) {
            LUMO_THROW(std::runtime_error("Query result has wrong type: " + sql));
        }
        query.nextRow();
        if (!query.eof()) {
            LUMO_THROW(std::runtime_error("Query resulted in more than one result: " + sql));
        }
        return value;
    });
}

template <class T>
T simpleCheckedQuery(CppSQLite3DB& db, const std::string& sql) {
    std::optional<T> value = simpleCheckedOptionalQuery<T>(db, sql);
    if (!value) {
        LUMO_THROW(std::runtime_error("Query result unexpectedly empty: " + sql));
    }
    return *std::move(value);
}

std::string globalMetadatumQuery(const std::string& key) {
    return "SELECT Value FROM GlobalMetadata WHERE Key='" + key + "'";
}

template <class T>
T getProperty(CppSQLite3DB& db, const std::string& key) {
    return simpleCheckedQuery<T>(db, globalMetadatumQuery(key));
}

#define LUMO_INSTANTIATE(T)                                                                     \
    template std::optional<T> simpleCheckedOptionalQuery<T>(CppSQLite3DB&, const std::string&); \
    template T simpleCheckedQuery<T>(CppSQLite3DB&, const std::string&);
LUMO_INSTANTIATE(bool)
LUMO_INSTANTIATE(std::int32_t)
LUMO_INSTANTIATE(std::uint32_t)
LUMO_INSTANTIATE(std::int64_t)
LUMO_INSTANTIATE(std::string)
#undef LUMO_INSTANTIATE

template bool getProperty<bool>(CppSQLite3DB&, const std::string&);
template std::int32_t getProperty<std::int32_t>(CppSQLite3DB&, const std::string&);
template std::uint32_t getProperty<std::uint32_t>(CppSQLite3DB&, const std::string&);

}  // namespace lumo::sqlite
