#include "kova-simulate/detector.h"

#include <algorithm>
#include <cmath>

// Ions to counts: amplification varies from ion to ion, a sample cannot show more than its bits hold, and a
// peak spreads over a few samples.
namespace simulator {

std::uint32_t amplified(std::uint32_t ions, Random& random) {
    const double value = ions * kCountsPerIon * (0.75 + 0.5 * random.uniform());
    return static_cast<std::uint32_t>(std::min(value, 1e9)) + 1;
}

std::uint32_t saturated(std::uint64_t counts) {
    constexpr std::uint64_t kLinear = kSaturation / 5 * 4;
    if (counts <= kLinear) {
        return static_cast<std::uint32_t>(counts);
    }
    constexpr double kRoom = kSaturation - kLinear;
    const double above = kRoom * (1.0 - std::exp(-static_cast<double>(counts - kLinear) / kRoom));
    return static_cast<std::uint32_t>(kLinear) + static_cast<std::uint32_t>(above + 0.5);
}

SampleShares sampleShares(double centre) {
    constexpr double kNorm = 1.0 / (kSampleWidth * 2.5066282746310002);
    const double middle = std::floor(centre + 0.5);
    SampleShares shares{};
    for (int i = -kSampleReach; i <= kSampleReach; ++i) {
        const double x = (middle + i - centre) / kSampleWidth;
        shares[static_cast<std::size_t>(i + kSampleReach)] = kNorm * std::exp(-0.5 * x * x);
    }
    return shares;
}

}  // namespace simulator
