#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace kova_simulate {

inline std::uint64_t splitMix(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15U);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

// xoshiro256++ with distributions of its own: the standard library's ones differ between implementations, and
// a seed has to give the same run everywhere.
class Random {
public:
    explicit Random(std::uint64_t seed) {
        for (std::uint64_t& word : state) {
            word = splitMix(seed);
        }
    }

    std::uint64_t bits() {
        const std::uint64_t result = std::rotl(state[0] + state[3], 23) + state[0];
        const std::uint64_t shifted = state[1] << 17;
        state[2] ^= state[0];
        state[3] ^= state[1];
        state[1] ^= state[2];
        state[0] ^= state[3];
        state[2] ^= shifted;
        state[3] = std::rotl(state[3], 45);
        return result;
    }

    // In [0, 1).
    double uniform() { return static_cast<double>(bits() >> 11) * 0x1.0p-53; }

    double uniform(double low, double high) { return low + (high - low) * uniform(); }

    // In [0, bound); bound > 0. The bias of taking the upper product half is below 2^-32 here.
    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>(((bits() >> 32) * bound) >> 32);
    }

    // Sum of uniform numbers instead of a transcendental formula: fast, and good to four standard deviations.
    double normal() {
        const std::uint64_t a = bits();
        const std::uint64_t b = bits();
        std::uint64_t sum = 0;
        for (unsigned shift = 0; shift < 64; shift += 16) {
            sum += ((a >> shift) & 0xFFFF) + ((b >> shift) & 0xFFFF);
        }
        // Eight terms of variance (2^32 - 1) / 12 around the mean 8 * 65535 / 2.
        return (static_cast<double>(sum) - 262140.0) / 53509.36;
    }

    double logNormal(double sigma) { return std::exp(sigma * normal()); }

    std::uint32_t poisson(double mean) {
        if (mean < kSmallMean) {
            return poissonBySeries(mean, 1.0 - mean * (1.0 - mean * (0.5 - mean * (1.0 / 6.0))));
        }
        if (mean < kLargeMean) {
            return poissonBySeries(mean, std::exp(-mean));
        }
        const double count = mean + std::sqrt(mean) * normal() + 0.5;
        return count > 0.0 ? static_cast<std::uint32_t>(count) : 0;
    }

private:
    static constexpr double kSmallMean = 0.05;
    static constexpr double kLargeMean = 20.0;

    // Inversion: subtracts the probabilities of 0, 1, 2, ... from a uniform number until it is used up.
    std::uint32_t poissonBySeries(double mean, double probability) {
        double rest = uniform();
        std::uint32_t count = 0;
        while (rest >= probability && count < 100) {
            rest -= probability;
            ++count;
            probability *= mean / count;
        }
        return count;
    }

    std::array<std::uint64_t, 4> state{};
};

}  // namespace kova_simulate
