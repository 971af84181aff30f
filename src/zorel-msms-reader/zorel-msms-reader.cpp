#include "zorel-msms-reader/zorel-msms-reader.h"

#include <stdexcept>
#include <utility>

#include "diag/throw.h"
#include "sqlite/cppsqlite3.h"

// Two steps. Preparing reads the rows of the precursors in one transaction and makes an accumulator for each.
// Extracting goes through the frames in ascending order and touches each stripe once. A frame's block is
// decompressed once for all precursors in it, which is why the order is that of frames and not of precursors.
namespace lumo::io::algorithms {

namespace {

// A precursor's scans are summed over frames, which means something only if they are the same scans.
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
    : ZorelMsmsSpectraReader(source, PrecursorFilter{}, D) {}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source,
                                               std::vector<std::int64_t> precursorIds, double D)
    : ZorelMsmsSpectraReader(source, PrecursorFilter{.ids = std::move(precursorIds)}, D) {}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source,
                                               const ClosedInterval<double>& timeRange, double D)
    : ZorelMsmsSpectraReader(source, PrecursorFilter{.time = timeRange}, D) {}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source, const PrecursorFilter& filter,
                                               double D)
    : reader(source), widthSlope(D), stripes(source.scans()) {
    reader.getSQLiteDb()->inTransaction([&] {
        precursorsOfFrame.clear();
        accumulators.clear();
        CurrentParent parent;
        readStripeRows(reader, filter, RowOrder::ByParent,
                       [&](const StripeRow& row) { prepare(row, parent); });
    });
    LUMO_LOG(
        logger, Debug,
        "Prepared " << accumulators.size() << " precursors in " << precursorsOfFrame.size() << " frames.");
}

ZorelMsmsSpectraReader::ZorelMsmsSpectraReader(kova::KvdReader& source, std::span<const StripeRow> rows,
                                               double D)
    : reader(source), widthSlope(D), stripes(source.scans()) {
    reader.getSQLiteDb()->inTransaction([&] {
        precursorsOfFrame.clear();
        accumulators.clear();
        CurrentParent parent;
        for (const StripeRow& row : rows) {
            prepare(row, parent);
        }
    });
}

void ZorelMsmsSpectraReader::prepare(const StripeRow& row, CurrentParent& parent) {
    precursorsOfFrame[row.frame].push_back(row.id);
    // Fragments are calibrated as the frame in which the precursor was selected.
    if (parent.frame != row.parent) {
        parent.calibration =
            makeParentCalibration(reader.getMzTrafo(row.parent, kova::KvdReader::Compensation::On));
        parent.frame = row.parent;
    }
    const auto [found, isNew] = accumulators.try_emplace(row.id, row.parent, row.scanBegin, row.scanEnd,
                                                         row.scanNumber, parent.calibration, widthSlope);
    if (!isNew) {
        requireSameRange(found->second, row);
    }
    found->second.addFrameId(row.frame);
}

// An accumulator is forgotten as soon as its spectrum was handed over or a frame of it failed. So a later row
// of the same precursor finds none and is passed over, and memory is bounded by the precursors that are
// between their first and last frame.
void ZorelMsmsSpectraReader::extractPrecursorSpectra(const lineSpectraCallback& line,
                                                     const profileSpectraCallback& profile,
                                                     const StripeFailureCallback& failure, PeakAreas areas) {
    // An extraction that ended in an exception has left sums of some frames.
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
            if (!addStripe(frame, accumulator, failure)) {
                accumulators.erase(found);
            } else if (frame == accumulator.lastFrame()) {
                emit(id, accumulator, line, profile, areas);
                accumulators.erase(found);
            }
        }
    }
}

// False if the precursor is to be left out.
bool ZorelMsmsSpectraReader::addStripe(std::int64_t frame, PrecursorStripeAccumlator& accumulator,
                                       const StripeFailureCallback& failure) {
    try {
        accumulator.add(stripes.read(frame, accumulator.scanBegin(), accumulator.scanEnd()));
        return true;
    } catch (const CppSQLite3Exception&) {
        throw;  // the database fails, not the frame
    } catch (const std::runtime_error& error) {
        if (!failure) {
            throw;
        }
        failure(frame, error);
        return false;
    }
}

// A line spectrum is preferred where both callbacks are given.
void ZorelMsmsSpectraReader::emit(std::int64_t precursorId, PrecursorStripeAccumlator& accumulator,
                                  const lineSpectraCallback& line, const profileSpectraCallback& profile,
                                  PeakAreas areas) const {
    if (line) {
        CentroidedSpectrum spectrum = accumulator.lineSpectrum(areas);
        line(precursorId, std::move(spectrum.mz), std::move(spectrum.intensities), std::move(spectrum.areas));
        return;
    }
    if (!profile) {
        LUMO_THROW(std::runtime_error("Missing callback for extract precursor"));
    }
    profile(precursorId, accumulator.profile());
}

}  // namespace lumo::io::algorithms
