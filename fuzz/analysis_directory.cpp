// Database and blob file of an analysis with frames: any bytes in both, used through the exported functions.
#include "common/analysis_in_memory.h"
#include "common/two_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::AnalysisInMemory analysis({});
    const fuzz::TwoFiles files = fuzz::splitFiles({data, size});
    analysis.useWith({{"analysis.kvd", files.first}, {"analysis.kvd_bin", files.second}});
    return 0;
}
