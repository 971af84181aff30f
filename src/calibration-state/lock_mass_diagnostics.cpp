#include "calibration-state/lock_mass_diagnostics.h"

#include <charconv>
#include <span>
#include <string>
#include <string_view>

#include "diag/errors.h"
#include "diag/throw.h"
#include "sqlite/cppsqlite3.h"
#include "sys/little_endian.h"

// Series of numbers, which programs have written as blobs or as texts. Both are read strictly: half a number
// at the end is damage and not a shorter series. Texts are read without the caller's locale, which may have a
// comma as its decimal point.
namespace lumo::io::calibration {

namespace {

constexpr std::string_view kSeparators = " ,;\t\n\r";

[[noreturn]] void raiseBadSeries(const char* column) {
    LUMO_THROW(CorruptDataError(std::string("Column ") + column + " holds no series of numbers."));
}

// A number ends at a separator or at the end of the text; anything else after it is damage.
std::vector<double> seriesFromText(std::string_view text, const char* column) {
    std::vector<double> series;
    for (std::size_t begin = text.find_first_not_of(kSeparators); begin != std::string_view::npos;
         begin = text.find_first_not_of(kSeparators)) {
        text.remove_prefix(begin);
        double value = 0.0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (error != std::errc() ||
            (!text.empty() && kSeparators.find(text.front()) == std::string_view::npos)) {
            raiseBadSeries(column);
        }
        series.push_back(value);
    }
    return series;
}

// The bytes of a blob may lie at any address, and are little-endian on every processor.
std::vector<double> seriesFromBlob(const std::vector<std::byte>& bytes, const char* column) {
    if (bytes.size() % sizeof(double) != 0) {
        raiseBadSeries(column);
    }
    std::vector<double> series(bytes.size() / sizeof(double));
    sys::loadNumbers(bytes.data(), std::span(series));
    return series;
}

// A number in the cell is read as its text, a series of one.
std::vector<double> seriesField(const CppSQLite3Query& row, int field, const char* column) {
    switch (row.fieldType(field)) {
        case sqlite::FieldType::Null:
            return {};
        case sqlite::FieldType::Blob:
            return seriesFromBlob(row.getBlobField(field), column);
        default:
            return seriesFromText(row.getStringField(field), column);
    }
}

std::vector<LockMassCalibrationDiagnostic> readRecords(CppSQLite3DB& db, int stateId) {
    std::vector<LockMassCalibrationDiagnostic> records;
    CppSQLite3Query row = db.execQuery(
        "SELECT LockMass, PercentFound, RetentionTimesInSeconds, MassDeviationInDa"
        " FROM LcMsLockMassCalibrationDiagnostic WHERE CalibrationState=" +
        std::to_string(stateId));
    for (; !row.eof(); row.nextRow()) {
        records.push_back({row.getFloatField(0), row.getFloatField(1),
                           seriesField(row, 2, "RetentionTimesInSeconds"),
                           seriesField(row, 3, "MassDeviationInDa")});
        // The two series are points of one curve.
        if (records.back().retentionTimesInSeconds.size() != records.back().massDeviationInDa.size()) {
            LUMO_THROW(CorruptDataError("Lock-mass diagnostics have series of different lengths."));
        }
    }
    return records;
}

}  // namespace

std::vector<LockMassCalibrationDiagnostic> readLockMassCalibrationDiagnostics(CppSQLite3DB& db, int stateId) {
    return db.inTransaction([&] { return readRecords(db, stateId); });
}

}  // namespace lumo::io::calibration
