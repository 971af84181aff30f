#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class CppSQLite3DB;

namespace lumo::io::kova {

// Whoever gives access to an open analysis database. The calibration readers know analyses by this interface
// alone, so they need not include the readers above them. Virtual functions keep their slot order.
class ISqliteReader {
public:
    virtual ~ISqliteReader() = default;
    virtual std::shared_ptr<CppSQLite3DB> getSQLiteDb() const = 0;

    // Value of a key of table "GlobalMetadata"; empty without a row or with a NULL value. The key is a
    // constant of the program. Raises CorruptDataError on an SQLite failure.
    std::optional<std::string> getGlobalMetadatum(const std::string& key) const;

    // The same for a key that must be there. Raises CorruptDataError otherwise.
    std::string getGlobalMetadatumRequiredString(const std::string& key) const;

protected:
    ISqliteReader() = default;
    ISqliteReader(const ISqliteReader&) = default;
    ISqliteReader& operator=(const ISqliteReader&) = default;
};

// A required key as a number (T is std::int32_t or std::uint32_t), strictly converted. Raises
// CorruptDataError.
template <class T>
T getGlobalMetadatumRequired(const ISqliteReader& reader, const std::string& key);

}  // namespace lumo::io::kova
