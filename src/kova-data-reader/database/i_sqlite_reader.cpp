#include "kova-data-reader/database/i_sqlite_reader.h"

#include "diag/errors.h"
#include "diag/throw.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/cppsqlite_tools.h"
#include "sqlite/lexical_conversion.h"

namespace lumo::io::kova {

using calibration::CorruptDataError;

// Rows of "GlobalMetadata". A key without a row and a key with NULL are the same to callers: not set.
// Failures of the database are reported with the key, since a caller who only has the text could not tell
// which of many look-ups it was.
std::optional<std::string> ISqliteReader::getGlobalMetadatum(const std::string& key) const {
    try {
        const CppSQLite3Query query = getSQLiteDb()->execQuery(sqlite::globalMetadatumQuery(key));
        if (query.eof() || query.fieldIsNull(0)) {
            return std::nullopt;
        }
        return query.getStringField(0);
    } catch (const CppSQLite3Exception& e) {
        LUMO_THROW(CorruptDataError("SQLite error retrieving global metadatum " + key + ": " + e.what()));
    }
}

std::string ISqliteReader::getGlobalMetadatumRequiredString(const std::string& key) const {
    std::optional<std::string> value = getGlobalMetadatum(key);
    if (!value) {
        LUMO_THROW(CorruptDataError("Global metadatum " + key + " not set but required."));
    }
    return *std::move(value);
}

template <class T>
T getGlobalMetadatumRequired(const ISqliteReader& reader, const std::string& key) {
    const std::optional<T> value = sqlite::convertLexically<T>(reader.getGlobalMetadatumRequiredString(key));
    if (!value) {
        LUMO_THROW(CorruptDataError("Global metadatum " + key + " not interpretable as desired type."));
    }
    return *value;
}

template std::int32_t getGlobalMetadatumRequired<std::int32_t>(const ISqliteReader&, const std::string&);
template std::uint32_t getGlobalMetadatumRequired<std::uint32_t>(const ISqliteReader&, const std::string&);

}  // namespace lumo::io::kova
