#include "kova-simulate/chemistry.h"

#include <stdexcept>
#include <string>

namespace kova_simulate {

namespace {

using Envelope = IsotopeCalculator::Envelope;

// Abundances and masses by nominal mass above the lightest isotope; natural terrestrial composition.
constexpr std::array<Envelope, kElements> kIsotopes = {{
    {{{12.0, 0.9893}, {13.00335483, 0.0107}}},
    {{{1.00782503, 0.999885}, {2.01410178, 0.000115}}},
    {{{14.00307400, 0.99636}, {15.00010890, 0.00364}}},
    {{{15.99491462, 0.99757}, {16.99913176, 0.00038}, {17.99915961, 0.00205}}},
    {{{31.97207117, 0.9499},
      {32.97145891, 0.0075},
      {33.96786701, 0.0425},
      {0.0, 0.0},
      {35.96708071, 0.0001}}},
}};

// Index by letter; letters that are no amino acid have no atoms.
constexpr std::array<Composition, 26> makeResidues() {
    std::array<Composition, 26> table{};
    const auto set = [&table](char code, int c, int h, int n, int o, int s) {
        table[static_cast<std::size_t>(code - 'A')] = Composition{{c, h, n, o, s}};
    };
    set('A', 3, 5, 1, 1, 0);
    set('R', 6, 12, 4, 1, 0);
    set('N', 4, 6, 2, 2, 0);
    set('D', 4, 5, 1, 3, 0);
    set('C', 5, 8, 2, 2, 1);
    set('E', 5, 7, 1, 3, 0);
    set('Q', 5, 8, 2, 2, 0);
    set('G', 2, 3, 1, 1, 0);
    set('H', 6, 7, 3, 1, 0);
    set('I', 6, 11, 1, 1, 0);
    set('L', 6, 11, 1, 1, 0);
    set('K', 6, 12, 2, 1, 0);
    set('M', 5, 9, 1, 1, 1);
    set('F', 9, 9, 1, 1, 0);
    set('P', 5, 7, 1, 1, 0);
    set('S', 3, 5, 1, 2, 0);
    set('T', 4, 7, 1, 2, 0);
    set('W', 11, 10, 2, 1, 0);
    set('Y', 9, 9, 1, 2, 0);
    set('V', 5, 9, 1, 1, 0);
    return table;
}

constexpr std::array<Composition, 26> kResidues = makeResidues();

Envelope convolve(const Envelope& a, const Envelope& b) {
    Envelope result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        for (std::size_t k = 0; i + k < result.size(); ++k) {
            const double abundance = a[i].abundance * b[k].abundance;
            result[i + k].abundance += abundance;
            result[i + k].mass += abundance * (a[i].mass + b[k].mass);
        }
    }
    for (IsotopePeak& peak : result) {
        if (peak.abundance > 0.0) {
            peak.mass /= peak.abundance;
        }
    }
    return result;
}

}  // namespace

Composition& Composition::operator+=(const Composition& other) {
    for (std::size_t i = 0; i < kElements; ++i) {
        atoms[i] += other.atoms[i];
    }
    return *this;
}

const Composition& residue(char code) {
    if (code < 'A' || code > 'Z' || kResidues[static_cast<std::size_t>(code - 'A')].atoms[kCarbon] == 0) {
        throw std::invalid_argument(std::string("no amino acid: ") + code);
    }
    return kResidues[static_cast<std::size_t>(code - 'A')];
}

Composition residues(std::string_view sequence) {
    Composition sum;
    for (const char code : sequence) {
        sum += residue(code);
    }
    return sum;
}

double monoisotopicMass(const Composition& composition) {
    double mass = 0.0;
    for (std::size_t i = 0; i < kElements; ++i) {
        mass += composition.atoms[i] * kIsotopes[i][0].mass;
    }
    return mass;
}

IsotopeCalculator::IsotopeCalculator() {
    Envelope nothing{};
    nothing[0].abundance = 1.0;
    powers.fill({nothing});
}

const Envelope& IsotopeCalculator::elementPower(std::size_t element, int count) {
    std::vector<Envelope>& known = powers[element];
    const auto wanted = static_cast<std::size_t>(count);
    while (known.size() <= wanted) {
        known.push_back(convolve(known.back(), kIsotopes[element]));
    }
    return known[wanted];
}

Envelope IsotopeCalculator::envelope(const Composition& composition) {
    Envelope result = elementPower(kCarbon, composition.atoms[kCarbon]);
    for (std::size_t element = kHydrogen; element < kElements; ++element) {
        if (composition.atoms[element] > 0) {
            result = convolve(result, elementPower(element, composition.atoms[element]));
        }
    }
    return result;
}

}  // namespace kova_simulate
