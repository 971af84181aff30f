#include "kova-simulate/sample.h"

#include <algorithm>
#include <cmath>

#include "kova-simulate/chemistry.h"
#include "kova-simulate/peptides.h"
#include "kova-simulate/proteins.h"

namespace simulator {

namespace {

constexpr int kMissedCleavages = 2;
constexpr double kLowestMz = 100.0;
constexpr double kHighestMz = 1690.0;

Composed compose(const Instrument& instrument, const Composition& composition, int charge) {
    Composed result{};
    double strongest = 0.0;
    double abundance = 0.0;
    for (const Isotope& isotope : isotopePattern(composition)) {
        const double mz = isotope.mass / charge + kProtonMass;
        result.averageMz += mz * isotope.abundance;
        abundance += isotope.abundance;
        if (result.monoisotopicMz == 0.0) {
            result.monoisotopicMz = mz;
        }
        if (isotope.abundance > strongest) {
            strongest = isotope.abundance;
            result.largestPeakMz = mz;
        }
        if (mz > kLowestMz && mz < kHighestMz) {
            result.lines.push_back({instrument.indexOf(mz), isotope.abundance});
        }
    }
    result.averageMz /= abundance;
    return result;
}

// Charge states that a peptide takes: one proton for the N terminus and one for each basic residue.
std::pair<int, int> chargeRange(const std::string& sequence) {
    const auto basic = std::count_if(sequence.begin(), sequence.end(),
                                     [](char c) { return c == 'K' || c == 'R' || c == 'H'; });
    const int highest = std::clamp(1 + static_cast<int>(basic), 1, 4);
    return {sequence.size() > 12 ? std::min(2, highest) : 1, highest};
}

void addIons(std::vector<Ion>& ions, const std::string& sequence, double amount, const Instrument& instrument,
             double runTime, Random& random) {
    const Composition composition = residueComposition(sequence) + kWater;
    const double mass = monoisotopicMass(composition);
    const double response = amount * std::exp(2.0 * random.normal());
    const double retention =
        runTime * std::clamp(relativeRetention(sequence) + 0.02 * random.normal(), 0.02, 0.98);
    const auto [lowest, highest] = chargeRange(sequence);
    for (int charge = lowest; charge <= highest; ++charge) {
        const Composed composed = compose(instrument, composition, charge);
        const double ccs = Instrument::peptideCcs(mass, charge) * (1.0 + 0.025 * random.normal());
        const double scan = instrument.scanOf(Instrument::oneOverK0(ccs, charge, composed.monoisotopicMz));
        const double share = charge == 2 ? 1.0 : 0.35;
        if (composed.lines.empty() || scan < 2.0 || scan > instrument.scanCount() - 3.0) {
            continue;
        }
        ions.push_back({sequence, charge, composed.monoisotopicMz, composed.averageMz, composed.largestPeakMz,
                        scan, retention, response * share, composed.lines});
    }
}

}  // namespace

std::vector<Ion> makeSample(const Instrument& instrument, double runTime, Random& random) {
    std::vector<Ion> ions;
    for (const Protein& protein : builtInProteins()) {
        const double amount = std::exp(1.0 * random.normal());
        for (const std::string& sequence : tryptic(protein.sequence, kMissedCleavages)) {
            addIons(ions, sequence, amount, instrument, runTime, random);
        }
    }
    std::stable_sort(ions.begin(), ions.end(),
                     [](const Ion& a, const Ion& b) { return a.abundance > b.abundance; });
    return ions;
}

double elution(const Ion& ion, double time, double width) {
    constexpr double kTail = 1.6;
    const double x = (time - ion.retentionTime) / (time < ion.retentionTime ? width : kTail * width);
    return x < -5.0 || x > 5.0 ? 0.0 : std::exp(-0.5 * x * x);
}

std::vector<IsotopeLine> fragmentLines(const Instrument& instrument, const Ion& ion) {
    std::vector<IsotopeLine> lines;
    for (const Fragment& fragment : fragments(ion.sequence, ion.charge)) {
        const Composed composed = compose(instrument, fragmentComposition(fragment), fragment.charge);
        for (const IsotopeLine& line : composed.lines) {
            lines.push_back({line.index, 0.95 * fragment.intensity * line.fraction});
        }
    }
    for (const IsotopeLine& line : ion.lines) {  // some of the precursor stays whole
        lines.push_back({line.index, 0.05 * line.fraction});
    }
    return lines;
}

}  // namespace simulator
