#include "zorel-msms-reader/zorel-msms-reader.h"

#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "diag/throw.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/cppsqlite_tools.h"

namespace lumo::io::algorithms {

namespace {

// One row of the join of "Precursors" and "ZorelFrameMsMsInfo": a precursor's stripe of one frame.
struct StripeRow {
    std::int64_t id;
    std::int64_t parent;
    std::int64_t frame;
    std::int64_t scanBegin;
    std::int64_t scanEnd;
    double scanNumber;
};

StripeRow readRow(const CppSQLite3Query& query) {
    return {query.getInt64Field(0), query.getInt64Field(1), query.getInt64Field(2),
            query.getInt64Field(3), query.getInt64Field(4), query.getFloatField(5)};
}

// Six digits behind the point, whatever the caller's locale makes of "%f".
std::string fixedText(double value) {
    std::array<char, std::numeric_limits<double>::max_exponent10 + 20> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 6);
    return {text.data(), result.ptr};
}

std::string joined(const std::vector<std::int64_t>& numbers) {
    std::string text;
    for (const std::int64_t number : numbers) {
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    }
    return text;
}

void requireSameRange(const PrecursorStripeAccumlator& accumulator, const StripeRow& row) {
    if (accumulator.scanBegin() != row.scanBegin || accumulator.scanEnd() != row.scanEnd) {
        LUMO_THROW(
            std::runtime_error("Invalid data, precursor scan ranges have to be identical for every frame, "
                               "mismatch for precursor " +
                               std::to_string(row.id)));
    }
}

}  // namespace

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source, double D)
    : ZorelMsmsSpectraReader(source, std::nullopt, std::nullopt, D) {}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source,
                                               std::vector<std::int64_t> precursorIds, double D)
    : ZorelMsmsSpectraReader(source, std::optional(std::move(precursorIds)), std::nullopt, D) {}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source,
                                               const ClosedInterval<double>& timeRange, double D)
    : ZorelMsmsSpectraReader(source, std::nullopt, std::optional(timeRange), D) {}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source,
                                               std::optional<std::vector<std::int64_t>> precursorIds,
                                               const std::optional<ClosedInterval<double>>& timeRange,
                                               double D)
    : logger(logging::Logger::getLogger("lumo.io.algorithms.ZorelMsmsSpectraReader")),
      reader(source),
      ids(std::move(precursorIds)),
      widthSlope(D),
      stripes(source.scans()) {
    reader.getSQLiteDb()->inTransaction([&] {
        requirePrecursorTable();
        preparePrecursors(timeRange);
    });
}

void ZorelMsmsSpectraReader::requirePrecursorTable() const {
    const bool exists = sqlite::simpleCheckedQuery<bool>(
        *reader.getSQLiteDb(), "SELECT COUNT(*) FROM sqlite_master WHERE name='Precursors'");
    if (!exists) {
        LUMO_LOG(logger, Warn, "No Precursor table found. This is not a ZOREL analysis.");
        LUMO_THROW(std::runtime_error("No Precursor table found. This is not a ZOREL analysis"));
    }
}

std::string ZorelMsmsSpectraReader::precursorQuery(
    const std::optional<ClosedInterval<double>>& timeRange) const {
    std::string sql =
        "SELECT  pre.Id, pre.Parent, fmmi.Frame, fmmi.ScanNumBegin, fmmi.ScanNumEnd, pre.ScanNumber FROM "
        "Precursors pre "
        "JOIN ZorelFrameMsMsInfo fmmi ON fmmi.Precursor = pre.Id ";
    if (timeRange) {
        sql +=
            " WHERE pre.Id IN (SELECT DISTINCT pre.Id FROM Precursors pre JOIN Frames f ON f.Id = pre.PARENT "
            "WHERE f.Time BETWEEN " +
            fixedText(timeRange->lower) + " AND " + fixedText(timeRange->upper) + ")";
    } else if (ids) {
        sql += " WHERE pre.Id IN (" + joined(*ids) + ")";
    }
    return sql + " ORDER BY pre.Parent, fmmi.Frame, pre.Id";
}

void ZorelMsmsSpectraReader::preparePrecursors(const std::optional<ClosedInterval<double>>& timeRange) {
    const std::unordered_set<std::int64_t> wanted =
        ids ? std::unordered_set<std::int64_t>(ids->begin(), ids->end()) : std::unordered_set<std::int64_t>();
    const std::shared_ptr<CppSQLite3DB> db = reader.getSQLiteDb();
    precursorsOfFrame.clear();
    accumulators.clear();
    std::optional<std::int64_t> parent;
    ParentCalibration calibration;
    for (CppSQLite3Query query = db->execQuery(precursorQuery(timeRange)); !query.eof(); query.nextRow()) {
        const StripeRow row = readRow(query);
        if (ids && !wanted.contains(row.id)) {
            continue;
        }
        precursorsOfFrame[row.frame].push_back(row.id);
        // Fragments are calibrated as the frame in which the precursor was selected.
        if (parent != row.parent) {
            calibration = makeParentCalibration(reader.getMzTrafo(row.parent, false));
            parent = row.parent;
        }
        const auto [found, isNew] = accumulators.try_emplace(row.id, row.parent, row.scanBegin, row.scanEnd,
                                                             row.scanNumber, calibration, widthSlope);
        if (!isNew) {
            requireSameRange(found->second, row);
        }
        found->second.addFrameId(row.frame);
    }
    LUMO_LOG(
        logger, Debug,
        "Prepared " << accumulators.size() << " precursors in " << precursorsOfFrame.size() << " frames.");
}

void ZorelMsmsSpectraReader::extractPrecursorSpectra(const lineSpectraCallback& line,
                                                     const profileSpectraCallback& profile) {
    for (auto& [id, accumulator] : accumulators) {
        accumulator.restart();
    }
    for (const auto& [frame, precursors] : precursorsOfFrame) {
        for (const std::int64_t id : precursors) {
            const auto found = accumulators.find(id);
            if (found == accumulators.end()) {
                continue;
            }
            PrecursorStripeAccumlator& accumulator = found->second;
            accumulator.add(stripes.read(frame, accumulator.scanBegin(), accumulator.scanEnd()));
            if (frame == accumulator.lastFrame()) {
                emit(id, accumulator, line, profile);
                accumulators.erase(found);
            }
        }
    }
}

void ZorelMsmsSpectraReader::emit(std::int64_t precursorId, PrecursorStripeAccumlator& accumulator,
                                  const lineSpectraCallback& line,
                                  const profileSpectraCallback& profile) const {
    if (line) {
        CentroidedSpectrum spectrum = accumulator.lineSpectrum();
        line(precursorId, std::move(spectrum.mz), std::move(spectrum.intensities), std::move(spectrum.areas));
        return;
    }
    if (!profile) {
        LUMO_THROW(std::runtime_error("Missing callback for extract precursor"));
    }
    profile(precursorId, accumulator.profile());
}

}  // namespace lumo::io::algorithms
