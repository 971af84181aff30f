#include "analysis_handle.h"

#include <kovadata/kova.h>

#include "failure.h"
#include "open_hint.h"

namespace kova_tool {

AnalysisHandle::AnalysisHandle(const std::string& directory, bool useRecalibratedState)
    : handle(kova_open(directory.c_str(), useRecalibratedState ? 1 : 0)) {
    if (handle == 0) {
        throw Failure(lastLibraryError(), openHint(directory));
    }
}

AnalysisHandle::~AnalysisHandle() { kova_close(handle); }

bool AnalysisHandle::usesRecalibratedState() const { return kova_has_recalibrated_state(handle) != 0; }

std::string lastLibraryError() {
    std::string text(kova_get_last_error_string(nullptr, 0), '\0');
    kova_get_last_error_string(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

}  // namespace kova_tool
