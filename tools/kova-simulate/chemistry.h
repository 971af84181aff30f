#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace kova_simulate {

constexpr double kProtonMass = 1.00727646688;

enum Element : std::size_t { kCarbon, kHydrogen, kNitrogen, kOxygen, kSulfur, kElements };

// Numbers of atoms.
struct Composition {
    std::array<int, kElements> atoms{};

    Composition& operator+=(const Composition& other);
};

inline Composition operator+(Composition a, const Composition& b) { return a += b; }

constexpr Composition kWater{{0, 2, 0, 1, 0}};

// Residue of an amino acid by its one-letter code; cysteine is carbamidomethylated, as in any digest made for
// LC-MS. Throws std::invalid_argument for a letter that is no amino acid.
const Composition& residue(char code);

Composition residues(std::string_view sequence);

double monoisotopicMass(const Composition& composition);

struct IsotopePeak {
    double mass = 0.0;
    double abundance = 0.0;
};

// Computes isotope envelopes by convolving the isotopes of all atoms. Peaks of one nominal mass are one peak
// at their mean mass. Powers of the element patterns are remembered from call to call.
class IsotopeCalculator {
public:
    static constexpr std::size_t kPeaks = 8;
    using Envelope = std::array<IsotopePeak, kPeaks>;

    IsotopeCalculator();

    // Neutral masses, lightest first. The abundances add up to 1 but for the peaks beyond the last.
    Envelope envelope(const Composition& composition);

private:
    const Envelope& elementPower(std::size_t element, int count);

    std::array<std::vector<Envelope>, kElements> powers;
};

}  // namespace kova_simulate
