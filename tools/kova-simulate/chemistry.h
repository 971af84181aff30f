#pragma once

#include <array>
#include <string_view>
#include <vector>

namespace simulator {

// Numbers of C, H, N, O and S atoms.
using Composition = std::array<int, 5>;

Composition operator+(const Composition& a, const Composition& b);
Composition operator-(const Composition& a, const Composition& b);

inline constexpr Composition kWater = {0, 2, 0, 1, 0};
inline constexpr double kProtonMass = 1.007276466621;

// Sum of the residues of a sequence, without the water of the free peptide. Unknown letters raise
// std::invalid_argument. Cysteines are carbamidomethylated, as samples are prepared.
Composition residueComposition(std::string_view sequence);

struct Isotope {
    double mass;       // of the neutral molecule, mean of all with this number of extra neutrons
    double abundance;  // all together 1
};

// Isotope pattern from the monoisotopic peak on, down to `smallest` abundance, by convolution of the
// elements' own.
std::vector<Isotope> isotopePattern(const Composition& composition, double smallest = 0.005);

double monoisotopicMass(const Composition& composition);

}  // namespace simulator
