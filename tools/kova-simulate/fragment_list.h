#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>

#include "kova-simulate/sample.h"

namespace simulator {

// A CSV file with the peptide of each precursor and the m/z of its fragments: what a reader of the MS/MS
// spectra should find.
class FragmentList {
public:
    explicit FragmentList(const std::filesystem::path& file);

    void add(std::int64_t precursor, const Ion& ion);
    // Raises std::runtime_error if not everything could be written.
    void finish();

private:
    std::ofstream out;
};

}  // namespace simulator
