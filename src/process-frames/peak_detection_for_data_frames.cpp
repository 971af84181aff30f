#include "process-frames/peak_detection_for_data_frames.h"

#include <algorithm>

#include "process-frames/new_sumpeakfinder.h"
#include "process-frames/sparse_sum_peak_finder.h"
#include "process-frames/working_profile.h"

// Which of the two peak finders a profile goes to. Nearly all go to the sparse one; those that are shorter
// than the widest windows are padded and go to the plain one, whose results define both.
namespace lumo::algorithm {

namespace {

// A profile that is shorter than its widest windows gets empty bins on both sides; without them it would have
// no range at all.
void detectPadded(const std::vector<int>& profile, std::size_t padding, const WidthTable& widths,
                  PeakSink& sink) {
    std::vector<int> padded(profile.size() + 2 * padding);
    std::copy(profile.begin(), profile.end(), padded.begin() + static_cast<std::ptrdiff_t>(padding));
    NewSPF::findPeaks(padded, widths, padding, sink);
}

// The usual case. The finder and the memory for sums stay with the thread, and are as large as its longest
// profile needs.
void detectUnpadded(const FullProfileProjector<int>& projector, const WidthTable& widths, PeakSink& sink) {
    thread_local SparseSumPeakFinder finder;
    thread_local WorkingProfile workingProfile;
    if (projector.hasBins()) {
        const BinInterval all{0, projector.count()};
        finder.find({projector.count(), {&all, 1}, projector.denseBins()}, widths, sink);
    } else {
        finder.find(workingProfile.sumUp(projector.collectedPeaks(), projector.count()), widths, sink);
    }
}

void detect(const FullProfileProjector<int>& projector, variableWidth<unsigned long>& widths,
            PeakSink&& sink) {
    const std::size_t n = projector.count();
    widths.setWidths(n);
    if (n == 0 || widths.empty()) {
        return;
    }
    const std::size_t padding = 3 * widths.widthOf(widths.size() - 1) + 3;
    if (n < padding) {
        detectPadded(projector.profile(), padding, widths, sink);
    } else {
        detectUnpadded(projector, widths, sink);
    }
}

}  // namespace

void PeakDetectionForDataFrames<DataFrame<int, int>, float, true>::detectPeaks(
    float threshold, std::vector<double>& positions, std::vector<float>& intensities,
    std::vector<float>& areas) {
    detect(projector, widths, PeakSink(threshold, positions, intensities, areas));
}

void PeakDetectionForDataFrames<DataFrame<int, int>, float, false>::detectPeaks(
    float threshold, std::vector<double>& positions, std::vector<float>& intensities) {
    detect(projector, widths, PeakSink(threshold, positions, intensities));
}

}  // namespace lumo::algorithm
