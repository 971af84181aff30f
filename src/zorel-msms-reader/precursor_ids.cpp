#include "zorel-msms-reader/precursor_ids.h"

#include <string>

#include "kova-data-reader/database/i_sqlite_reader.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::io::algorithms {

std::vector<std::int64_t> getPrecursorIdsFromParent(const kova::ISqliteReader& analysis,
                                                    std::int64_t frameId) {
    const std::string sql = "SELECT Id FROM Precursors WHERE Parent = " + std::to_string(frameId);
    const auto db = analysis.getSQLiteDb();
    return db->inTransaction([&] {
        std::vector<std::int64_t> ids;
        for (CppSQLite3Query query = db->execQuery(sql); !query.eof(); query.nextRow()) {
            ids.push_back(query.getInt64Field(0));
        }
        return ids;
    });
}

}  // namespace lumo::io::algorithms
