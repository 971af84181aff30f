#include "kova-simulate/chemistry.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

// Isotope patterns by convolution. Isotopes are counted by extra neutrons, not by exact mass: the instrument
// does not resolve what has the same number.
namespace simulator {

namespace {

constexpr std::size_t kMaxIsotopes = 12;
constexpr std::size_t kMostAtoms = 640;  // of one element, in the longest peptide

// Abundance and, weighted with it, mass for each number of extra neutrons.
struct Pattern {
    std::array<double, kMaxIsotopes> abundance{};
    std::array<double, kMaxIsotopes> weightedMass{};
};

Pattern element(std::initializer_list<std::array<double, 3>> isotopes) {
    Pattern pattern;
    for (const auto& [extraNeutrons, mass, abundance] : isotopes) {
        const auto i = static_cast<std::size_t>(extraNeutrons);
        pattern.abundance[i] = abundance;
        pattern.weightedMass[i] = abundance * mass;
    }
    return pattern;
}

const std::array<Pattern, 5>& elements() {
    static const std::array<Pattern, 5> all = {
        element({{0, 12.0, 0.9893}, {1, 13.0033548, 0.0107}}),
        element({{0, 1.00782503, 0.999885}, {1, 2.01410178, 0.000115}}),
        element({{0, 14.0030740, 0.99636}, {1, 15.0001089, 0.00364}}),
        element({{0, 15.9949146, 0.99757}, {1, 16.9991317, 0.00038}, {2, 17.9991596, 0.00205}}),
        element({{0, 31.9720712, 0.9499},
                 {1, 32.9714589, 0.0075},
                 {2, 33.9678670, 0.0425},
                 {4, 35.967081, 0.0001}})};
    return all;
}

Pattern convolved(const Pattern& a, const Pattern& b) {
    Pattern result;
    for (std::size_t i = 0; i < kMaxIsotopes; ++i) {
        for (std::size_t k = 0; i + k < kMaxIsotopes; ++k) {
            result.abundance[i + k] += a.abundance[i] * b.abundance[k];
            result.weightedMass[i + k] +=
                a.weightedMass[i] * b.abundance[k] + a.abundance[i] * b.weightedMass[k];
        }
    }
    return result;
}

// Patterns of 0, 1, 2, ... atoms of an element.
std::vector<Pattern> multiples(const Pattern& atom) {
    std::vector<Pattern> patterns(kMostAtoms + 1);
    patterns[0].abundance[0] = 1.0;
    for (std::size_t count = 1; count < patterns.size(); ++count) {
        patterns[count] = convolved(patterns[count - 1], atom);
    }
    return patterns;
}

// Computed once: samples ask for the patterns of hundreds of thousands of ions and fragments.
const Pattern& patternOf(std::size_t elementNumber, int count) {
    static const auto all = [] {
        std::vector<std::vector<Pattern>> patterns;
        std::transform(elements().begin(), elements().end(), std::back_inserter(patterns), multiples);
        return patterns;
    }();
    return all[elementNumber].at(static_cast<std::size_t>(count));
}

Composition residue(char letter) {
    switch (letter) {
        case 'G':
            return {2, 3, 1, 1, 0};
        case 'A':
            return {3, 5, 1, 1, 0};
        case 'S':
            return {3, 5, 1, 2, 0};
        case 'P':
            return {5, 7, 1, 1, 0};
        case 'V':
            return {5, 9, 1, 1, 0};
        case 'T':
            return {4, 7, 1, 2, 0};
        case 'C':
            return {5, 8, 2, 2, 1};  // with the carbamidomethyl group
        case 'L':
        case 'I':
            return {6, 11, 1, 1, 0};
        case 'N':
            return {4, 6, 2, 2, 0};
        case 'D':
            return {4, 5, 1, 3, 0};
        case 'Q':
            return {5, 8, 2, 2, 0};
        case 'K':
            return {6, 12, 2, 1, 0};
        case 'E':
            return {5, 7, 1, 3, 0};
        case 'M':
            return {5, 9, 1, 1, 1};
        case 'H':
            return {6, 7, 3, 1, 0};
        case 'F':
            return {9, 9, 1, 1, 0};
        case 'R':
            return {6, 12, 4, 1, 0};
        case 'Y':
            return {9, 9, 1, 2, 0};
        case 'W':
            return {11, 10, 2, 1, 0};
        default:
            throw std::invalid_argument(std::string("Unknown residue ") + letter);
    }
}

}  // namespace

Composition operator+(const Composition& a, const Composition& b) {
    Composition sum;
    std::transform(a.begin(), a.end(), b.begin(), sum.begin(), std::plus<>());
    return sum;
}

Composition operator-(const Composition& a, const Composition& b) {
    Composition difference;
    std::transform(a.begin(), a.end(), b.begin(), difference.begin(), std::minus<>());
    return difference;
}

Composition residueComposition(std::string_view sequence) {
    Composition sum{};
    for (const char letter : sequence) {
        sum = sum + residue(letter);
    }
    return sum;
}

std::vector<Isotope> isotopePattern(const Composition& composition, double smallest) {
    Pattern pattern = patternOf(0, composition[0]);
    for (std::size_t i = 1; i < composition.size(); ++i) {
        if (composition[i] > 0) {
            pattern = convolved(pattern, patternOf(i, composition[i]));
        }
    }
    std::vector<Isotope> isotopes;
    for (std::size_t i = 0; i < kMaxIsotopes && (i == 0 || pattern.abundance[i] >= smallest || i < 2); ++i) {
        isotopes.push_back({pattern.weightedMass[i] / pattern.abundance[i], pattern.abundance[i]});
    }
    return isotopes;
}

double monoisotopicMass(const Composition& composition) {
    double mass = 0.0;
    for (std::size_t i = 0; i < composition.size(); ++i) {
        const Pattern& atom = elements()[i];
        mass += composition[i] * atom.weightedMass[0] / atom.abundance[0];
    }
    return mass;
}

}  // namespace simulator
