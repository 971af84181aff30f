#include "common/analysis_in_memory.h"

#include "fixtures/small_analyses.h"
#include "kovadata/kova.h"

namespace fuzz {

AnalysisInMemory::AnalysisInMemory(const fixtures::EveryCallOptions& options) : calls(options) {
    kova_set_num_threads(1);
    (options.spectra ? fixtures::smallSpectra() : fixtures::smallZorelRun(2)).write(directory.path());
}

void AnalysisInMemory::useWith(const std::map<std::string, std::span<const std::uint8_t>>& files) const {
    for (const auto& [name, content] : files) {
        directory.put(name, content);
    }
    fixtures::makeEveryCall(directory.path().string(), calls);
}

}  // namespace fuzz
