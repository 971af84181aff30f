#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include "kova-data-reader/kvd_reader.h"
#include "logging/logger.h"
#include "zorel-msms-reader/precursor_stripe_accumlator.h"
#include "zorel-msms-reader/stripe_reader.h"
#include "zorel-msms-reader/stripe_rows.h"

namespace lumo::io::algorithms {

// Precursor id, m/z values, intensities and areas of the peaks, ascending; no areas if they were left out.
using lineSpectraCallback =
    std::function<void(std::int64_t, std::vector<double>&&, std::vector<float>&&, std::vector<float>&&)>;

// Precursor id and summed intensities, one entry per time-of-flight index from 0.
using profileSpectraCallback = std::function<void(std::int64_t, std::vector<std::int32_t>&&)>;

// D, the slope of the peak finder's widths, unless a caller wants another.
inline constexpr double kDefaultWidthSlope = 15000.0;

// Called with the id of a frame whose scans cannot be read, and why.
using StripeFailureCallback = std::function<void(std::int64_t, const std::runtime_error&)>;

// The fragment spectra of precursors that were selected by their mobility: each MS/MS frame holds several
// precursors, each in its own range of scans, and most precursors are measured in several frames. Frames are
// gone through once, in ascending order. Each precursor is handed over and forgotten right after its last
// frame, so memory is bounded by the precursors between their first and last frame.
//
// Callbacks may use the analysis, and what they throw ends the extraction. Used by one thread at a time; the
// reader of the analysis must outlive it.
class ZorelMsmsSpectraReader {
public:
    // All precursors. D is the slope of the peak finder's widths. Raises std::runtime_error "No Precursor
    // table found. This is not a ZOREL analysis" and what is wrong with the precursors' rows.
    ZorelMsmsSpectraReader(kova::KvdReader& source, double D);

    // Only the listed precursors; ids without rows are ignored.
    ZorelMsmsSpectraReader(kova::KvdReader& source, std::vector<std::int64_t> precursorIds, double D);

    // Only precursors whose parent frame was measured in this range of time.
    ZorelMsmsSpectraReader(kova::KvdReader& source, const ClosedInterval<double>& timeRange, double D);

    // Rows of some precursors that were read before, those of each complete, in the order of
    // readStripeRows().
    ZorelMsmsSpectraReader(kova::KvdReader& source, std::span<const StripeRow> rows, double D);

    // The number of precursors not yet handed over.
    std::size_t precursorCount() const { return accumulators.size(); }

    void extractPrecursorSpectra(const lineSpectraCallback& line, PeakAreas areas = PeakAreas::Compute) {
        extractPrecursorSpectra(line, {}, {}, areas);
    }
    void extractPrecursorProfile(const profileSpectraCallback& profile) {
        extractPrecursorSpectra({}, profile);
    }

    // The line callback takes precedence. Raises std::runtime_error "Missing callback for extract precursor"
    // when there is a spectrum but no callback. Precursors handed over before a failure stay so; another call
    // starts the others from nothing. With a callback for failures, precursors of which scans cannot be read
    // are left out.
    void extractPrecursorSpectra(const lineSpectraCallback& line, const profileSpectraCallback& profile,
                                 const StripeFailureCallback& failure = {},
                                 PeakAreas areas = PeakAreas::Compute);

private:
    // Rows of one parent follow each other.
    struct CurrentParent {
        std::optional<std::int64_t> frame;
        ParentCalibration calibration;
    };

    ZorelMsmsSpectraReader(kova::KvdReader& source, const PrecursorFilter& filter, double D);

    void prepare(const StripeRow& row, CurrentParent& parent);
    bool addStripe(std::int64_t frame, PrecursorStripeAccumlator& accumulator,
                   const StripeFailureCallback& failure);
    void emit(std::int64_t precursorId, PrecursorStripeAccumlator& accumulator,
              const lineSpectraCallback& line, const profileSpectraCallback& profile, PeakAreas areas) const;

    logging::Logger logger = logging::Logger::getLogger("lumo.io.algorithms.ZorelMsmsSpectraReader");
    kova::KvdReader& reader;
    double widthSlope;
    std::map<std::int64_t, std::vector<std::int64_t>> precursorsOfFrame;
    std::unordered_map<std::int64_t, PrecursorStripeAccumlator> accumulators;
    StripeReader stripes;
};

}  // namespace lumo::io::algorithms
