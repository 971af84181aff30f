#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

namespace simulator {

// Reproducible numbers that do not depend on the standard library: splitmix64 and the distributions needed.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    // A sequence of its own for part `number` of a run, so that parts can be made in any order.
    Random(std::uint64_t seed, std::uint64_t number) : state(Random(seed).next() ^ Random(~number).next()) {}

    std::uint64_t next() {
        state += 0x9E3779B97F4A7C15;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }

    // In [0, 1).
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }

    // In [0, end); end must not be 0.
    std::uint32_t below(std::uint32_t end) { return static_cast<std::uint32_t>((next() >> 32) * end >> 32); }

    double normal() { return normalPair().first; }

    // Two independent numbers for little more than the price of one.
    std::pair<double, double> normalPair() {
        const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform()));
        const double angle = 2.0 * std::numbers::pi * uniform();
        return {radius * std::cos(angle), radius * std::sin(angle)};
    }

    // Counting statistics; the normal approximation is good from ten counts on. Means up to kMostCounts.
    std::uint32_t poisson(double mean) {
        if (mean >= 10.0) {
            const double bounded = std::min(mean, kMostCounts);
            const double value = bounded + std::sqrt(bounded) * normal() + 0.5;
            return value > 0.0 ? static_cast<std::uint32_t>(value) : 0;
        }
        const double limit = std::exp(-mean);
        std::uint32_t count = 0;
        for (double product = uniform(); product > limit; product *= uniform()) {
            ++count;
        }
        return count;
    }

private:
    static constexpr double kMostCounts = 1e9;  // far more than an instrument counts, and 32 bits hold it

    std::uint64_t state;
};

}  // namespace simulator
