#include "metadata_database.h"

#include <charconv>

#include "failure.h"

namespace kova_tool {
namespace {

template <class Action>
auto orFailure(const Action& action, const std::string& prefix = {}) {
    try {
        return action();
    } catch (const CppSQLite3Exception& error) {
        throw Failure(prefix + error.what());
    }
}

}  // namespace

bool MetadataQuery::next() {
    if (isBegun) {
        orFailure([&] { rows.nextRow(); });
    }
    isBegun = true;
    return !rows.eof();
}

std::optional<std::int64_t> MetadataQuery::integer(int column) const {
    if (rows.fieldType(column) != lumo::sqlite::FieldType::Integer) {
        return std::nullopt;
    }
    return rows.getInt64Field(column);
}

std::optional<double> MetadataQuery::real(int column) const {
    const lumo::sqlite::FieldType type = rows.fieldType(column);
    if (type != lumo::sqlite::FieldType::Real && type != lumo::sqlite::FieldType::Integer) {
        return std::nullopt;
    }
    return rows.getFloatField(column);
}

std::optional<std::string> MetadataQuery::text(int column) const {
    if (rows.fieldIsNull(column)) {
        return std::nullopt;
    }
    return rows.getStringField(column);
}

MetadataDatabase::MetadataDatabase(const std::string& path) {
    orFailure(
        [&] {
            connection.open(path);
            // An acquisition may be writing; its locks are short.
            connection.execDML("PRAGMA busy_timeout=15000");
        },
        path + ": ");
}

MetadataQuery MetadataDatabase::query(const std::string& sql) const {
    return orFailure([&] { return MetadataQuery(connection.execQuery(sql)); });
}

std::optional<std::int64_t> MetadataDatabase::integer(const std::string& sql) const {
    MetadataQuery rows = query(sql);
    return rows.next() ? rows.integer(0) : std::nullopt;
}

std::set<std::string> MetadataDatabase::columns(const std::string& table) const {
    return inTransaction([&] {
        std::set<std::string> names;
        MetadataQuery rows = query("SELECT name FROM pragma_table_info('" + table + "')");
        while (rows.next()) {
            names.insert(rows.text(0).value_or(""));
        }
        return names;
    });
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
        format == AnalysisFormat::Mobility || globalMetadatum("PeakListIndexScaleFactor").has_value();
    return isScaled ? samples * static_cast<std::uint32_t>(globalNumber("PeakListIndexScaleFactor"))
                    : samples;
}

}  // namespace kova_tool
