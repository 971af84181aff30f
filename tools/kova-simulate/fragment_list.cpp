#include "kova-simulate/fragment_list.h"

#include <iomanip>
#include <stdexcept>

#include "kova-simulate/chemistry.h"
#include "kova-simulate/peptides.h"

namespace simulator {

FragmentList::FragmentList(const std::filesystem::path& file) : out(file) {
    out << "precursor,peptide,charge,ion,ion_charge,mz\n" << std::fixed << std::setprecision(6);
}

void FragmentList::add(std::int64_t precursor, const Ion& ion) {
    for (const Fragment& fragment : fragments(ion.sequence, ion.charge)) {
        const double mz = monoisotopicMass(fragmentComposition(fragment)) / fragment.charge + kProtonMass;
        out << precursor << ',' << ion.sequence << ',' << ion.charge << ',' << (fragment.isY ? 'y' : 'b')
            << fragment.sequence.size() << ',' << fragment.charge << ',' << mz << '\n';
    }
}

void FragmentList::finish() {
    if (!out.flush()) {
        throw std::runtime_error("The list of fragments cannot be written.");
    }
}

}  // namespace simulator
