#include "kovadata/analysis_path.h"

#include <stdexcept>
#include <string_view>

#include "diag/throw.h"
#include "sys/utf8.h"
#include "sys/utf8_path.h"

// Paths come in UTF-8, and texts of errors that name them go out in UTF-8 again, so what is not valid is
// refused before it reaches the system.
namespace lumo::io {

std::filesystem::path checkedAnalysisPath(const char* directoryName) {
    if (directoryName == nullptr) {
        LUMO_THROW(std::invalid_argument("Analysis directory name must not be NULL."));
    }
    if (sys::findInvalidUtf8(directoryName) != std::string_view::npos) {
        LUMO_THROW(std::runtime_error("Invalid UTF-8"));
    }
    return sys::pathFromUtf8(directoryName);
}

}  // namespace lumo::io
