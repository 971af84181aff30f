#include "kova-simulate/peptides.h"

#include <algorithm>
#include <cmath>

#include "kova-simulate/random.h"

// Rules of thumb of proteomics: where trypsin cuts, which bonds break, when a peptide elutes. They are rough
// on purpose; what matters is that spectra look like measured ones and that the same peptide always gives the
// same fragments.
namespace simulator {

namespace {

constexpr std::size_t kShortest = 6;
constexpr std::size_t kLongest = 40;

std::vector<std::size_t> cleavageSites(std::string_view protein) {
    std::vector<std::size_t> sites = {0};
    for (std::size_t i = 1; i < protein.size(); ++i) {
        const char before = protein[i - 1];
        if ((before == 'K' || before == 'R') && protein[i] != 'P') {
            sites.push_back(i);
        }
    }
    sites.push_back(protein.size());
    return sites;
}

std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    return hash;
}

double bondStrength(std::string_view peptide, std::size_t position) {
    const double middle =
        std::sin(3.14159265 * static_cast<double>(position) / static_cast<double>(peptide.size()));
    const double proline = peptide[position] == 'P' ? 3.0 : 1.0;
    const double acid = peptide[position - 1] == 'D' ? 1.7 : 1.0;
    return (0.2 + middle) * proline * acid;
}

double hydrophobicity(char letter) {
    switch (letter) {
        case 'W':
            return 11.0;
        case 'F':
            return 10.5;
        case 'L':
            return 9.6;
        case 'I':
            return 8.4;
        case 'M':
            return 5.8;
        case 'V':
            return 5.0;
        case 'Y':
            return 4.0;
        case 'A':
        case 'P':
            return 1.0;
        case 'T':
        case 'E':
        case 'D':
            return 0.3;
        default:
            return -1.0;
    }
}

}  // namespace

std::vector<std::string> tryptic(std::string_view protein, int missedCleavages) {
    const std::vector<std::size_t> sites = cleavageSites(protein);
    const std::size_t step = static_cast<std::size_t>(missedCleavages) + 1;
    std::vector<std::string> peptides;
    for (std::size_t first = 0; first + step < sites.size(); ++first) {
        const std::size_t length = sites[first + step] - sites[first];
        if (length >= kShortest && length <= kLongest) {
            peptides.emplace_back(protein.substr(sites[first], length));
        }
    }
    return peptides;
}

std::vector<Fragment> fragments(std::string_view peptide, int precursorCharge) {
    Random random(hashOf(peptide));
    std::vector<Fragment> result;
    double sum = 0.0;
    for (std::size_t position = 1; position < peptide.size(); ++position) {
        for (const bool isY : {false, true}) {
            const std::string_view sequence = isY ? peptide.substr(position) : peptide.substr(0, position);
            const double intensity =
                bondStrength(peptide, position) * (isY ? 1.0 : 0.45) * std::exp(0.7 * random.normal());
            const bool holdsTwoCharges = precursorCharge >= 3 && sequence.size() > peptide.size() / 2;
            result.push_back({sequence, isY, holdsTwoCharges ? 2 : 1, intensity});
            sum += intensity;
        }
    }
    for (Fragment& fragment : result) {
        fragment.intensity /= sum;
    }
    return result;
}

Composition fragmentComposition(const Fragment& fragment) {
    const Composition residues = residueComposition(fragment.sequence);
    return fragment.isY ? residues + kWater : residues;
}

double relativeRetention(std::string_view peptide) {
    double sum = 0.0;
    for (const char letter : peptide) {
        sum += hydrophobicity(letter);
    }
    // Long peptides gain less than in proportion.
    return std::clamp(0.05 + 0.9 * (1.0 - std::exp(-std::max(0.0, sum) / 45.0)), 0.0, 1.0);
}

}  // namespace simulator
