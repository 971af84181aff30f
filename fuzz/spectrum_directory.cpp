// Database and blob file of an analysis with spectra: any bytes in both, used through the exported functions.
#include "common/analysis_in_memory.h"
#include "common/two_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::AnalysisInMemory analysis({.spectra = true});
    const fuzz::TwoFiles files = fuzz::splitFiles({data, size});
    analysis.useWith({{"analysis.kvs", files.first}, {"analysis.kvs_bin", files.second}});
    return 0;
}
