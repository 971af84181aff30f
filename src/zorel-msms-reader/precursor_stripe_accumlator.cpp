#include "zorel-msms-reader/precursor_stripe_accumlator.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "calibration/calibration_constants.h"
#include "diag/assert.h"
#include "diag/throw.h"
#include "process-frames/peak_detection_for_data_frames.h"

namespace lumo::io::algorithms {

namespace {

using Scans = lumo::algorithm::DataFrame<int, int>;

// Empty bins after the last peak, so the windows of the peak finder end inside of the profile.
constexpr std::uint64_t kBinsAfterLastPeak = 100;

// Deliberate: a hundred times the longest measured profile. Otherwise a file could claim profiles of many
// gigabytes.
constexpr std::uint64_t kMaxBins = std::uint64_t{1} << 26;

// The number of bins that the scans need, from the last index of each; indices ascend within a scan.
std::uint64_t neededBins(const Scans& scans) {
    std::uint64_t bins = kBinsAfterLastPeak;
    for (std::size_t scan = 0; scan < scans.numberOfScans; ++scan) {
        const std::uint64_t end = scans.scanOffsets[scan + 1];
        if (end > scans.scanOffsets[scan]) {
            const auto last = static_cast<std::uint32_t>(scans.indices[end - 1]);
            bins = std::max(bins, last + kBinsAfterLastPeak);
        }
    }
    return bins;
}

template <class Interface, class Pointer>
bool isA(const Pointer& pointer) {
    return dynamic_cast<const Interface*>(pointer.get()) != nullptr;
}

}  // namespace

// The width model needs constants of a time-of-flight calibration, so a transformator of any other kind is
// refused here and not in the middle of the peak finder.
ParentCalibration makeParentCalibration(::lumo::calibration::ICalibrationTransformatorPtr transformator) {
    using namespace ::lumo::calibration;
    if (!transformator) {
        LUMO_THROW(std::runtime_error("No m/z trafo available."));
    }
    const auto physical =
        std::dynamic_pointer_cast<ICalibrationConstantsPhysicalLinear>(transformator->GetPhysicalConstants());
    if (!physical) {
        LUMO_THROW(std::runtime_error("No TOF physical constants available."));
    }
    const auto functional = std::dynamic_pointer_cast<ICalibrationConstantsFunctionalTOF>(
        transformator->GetFunctionalConstants());
    if (!isA<ICalibrationConstantsFunctionalTOF1>(functional) &&
        !isA<ICalibrationConstantsFunctionalTOF2>(functional)) {
        LUMO_THROW(std::runtime_error("Expected TOF1 or TOF2 functional constants."));
    }
    return {std::move(transformator), functional->GetA0(), physical->GetTimeDelay(), physical->GetTimeBase()};
}

PrecursorStripeAccumlator::PrecursorStripeAccumlator(std::int64_t parentId, std::int64_t begin,
                                                     std::int64_t end, double scan,
                                                     const ParentCalibration& calibration, double D)
    : parent(parentId),
      firstScan(begin),
      endScan(end),
      centreScan(scan),
      transformator(calibration.transformator),
      widths(calibration.tA, calibration.tDelay, calibration.tBase, D) {}

// The profile grows with the largest index so far. Its size comes from the file, so it is limited before
// memory is taken.
void PrecursorStripeAccumlator::add(const Scans& scans) {
    LUMO_ASSERT(scans.scanOffsets.size() > scans.numberOfScans);
    const std::uint64_t bins = std::max<std::uint64_t>(projector.count(), neededBins(scans));
    if (bins > kMaxBins) {
        LUMO_THROW(std::runtime_error("Profile of " + std::to_string(bins) + " bins exceeds the maximum of " +
                                      std::to_string(kMaxBins) + " bins."));
    }
    projector.setParameters(0, bins);
    projector.add(scans);
}

// A threshold of 0 keeps every peak that has any intensity.
CentroidedSpectrum PrecursorStripeAccumlator::lineSpectrum(PeakAreas areas) {
    using lumo::algorithm::PeakDetectionForDataFrames;
    CentroidedSpectrum spectrum;
    if (areas == PeakAreas::Compute) {
        PeakDetectionForDataFrames<Scans, float, true>(projector, widths)
            .detectPeaks(0.0F, spectrum.mz, spectrum.intensities, spectrum.areas);
    } else {
        PeakDetectionForDataFrames<Scans, float, false>(projector, widths)
            .detectPeaks(0.0F, spectrum.mz, spectrum.intensities);
    }
    // Spectra are too short to be shared among threads: waking those costs more than all else.
    transformator->DIndexToMassOnThisThread(spectrum.mz, spectrum.mz);
    return spectrum;
}

}  // namespace lumo::io::algorithms
