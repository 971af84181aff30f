#pragma once

#include <array>
#include <cstdint>

#include "kova-simulate/random.h"

namespace simulator {

// The digitizer at the end of the flight tube: how ions become counts in samples. Intensities of a sample in
// one scan end at kSaturation, whatever arrives, so that sums over any run stay within their types.

inline constexpr double kCountsPerIon = 9.0;
inline constexpr std::uint32_t kSaturation = 4'095;  // 12 bits
inline constexpr double kSampleWidth = 1.3;  // standard deviation of a time-of-flight peak, in samples
inline constexpr int kSampleReach = 4;       // samples on each side of a peak's centre

// Counts of ions in one sample before saturation; amplification differs from ion to ion.
std::uint32_t amplified(std::uint32_t ions, Random& random);

// Linear up to four fifths of kSaturation, then flatter and flatter.
std::uint32_t saturated(std::uint64_t counts);

// Shares of the samples around a peak's centre, from -kSampleReach to kSampleReach of the sample next to it.
using SampleShares = std::array<double, 2 * kSampleReach + 1>;
SampleShares sampleShares(double centre);

}  // namespace simulator
