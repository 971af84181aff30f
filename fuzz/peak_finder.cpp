// Any profile and width model: the fast peak finder against the plain one.
#include "common/byte_source.h"
#include "common/require.h"
#include "fixtures/projected_profile.h"
#include "process-frames/peak_detection_for_data_frames.h"
#include "reference/plain_peak_finder.h"

namespace {

using Detection =
    lumo::algorithm::PeakDetectionForDataFrames<lumo::algorithm::DataFrame<int, int>, float, true>;

// Runs of bins with gaps between them.
std::vector<int> takeProfile(fuzz::ByteSource& source) {
    std::vector<int> profile(source.below(6000));
    for (std::size_t bin = 0; bin < profile.size() && !source.empty();) {
        bin += source.take<std::uint8_t>();
        const unsigned count = source.take<std::uint8_t>() % 32;
        const bool wide = source.take<std::uint8_t>() % 8 == 0;
        for (unsigned i = 0; i < count && bin < profile.size(); ++i, ++bin) {
            profile[bin] = wide ? source.take<std::int32_t>() : source.take<std::uint8_t>();
        }
    }
    return profile;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    reference::WidthModel model{300.0, 24000.0, 0.2, 15000.0};
    if (source.take<std::uint8_t>() % 2 == 0) {
        model = {source.take<double>(), source.take<double>(), source.take<double>(), source.take<double>()};
    }
    const float threshold = source.take<std::uint8_t>() % 4 == 0 ? source.take<float>() : 0.0F;
    const std::vector<int> profile = takeProfile(source);
    const auto projector = fixtures::projectorOf(profile);
    lumo::algorithm::variableWidth<unsigned long> widths(model.tA, model.tDelay, model.tBase, model.D);
    reference::Peaks peaks;
    const std::string failure = fuzz::failureOf([&] {
        Detection(projector, widths).detectPeaks(threshold, peaks.positions, peaks.intensities, peaks.areas);
    });
    reference::Peaks plain;
    fuzz::require(
        failure == fuzz::failureOf([&] { plain = reference::findPeaks(profile, model, threshold); }),
        "fails as the plain form");
    fuzz::require(!failure.empty() || peaks == plain, "the peaks of the plain form");
    return 0;
}
