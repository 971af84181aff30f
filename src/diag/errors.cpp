#include "diag/errors.h"

// Texts of errors in frames and scans begin with the class and the place, so that a caller who only has the
// text can tell which frame it was.
namespace lumo::io::kova {

CorruptFrameDataError::CorruptFrameDataError(std::int64_t frameId, const std::string& text)
    : CorruptDataError("CorruptFrameDataError for FrameId=" + std::to_string(frameId) + ": " + text) {}

CorruptScanDataError::CorruptScanDataError(std::int64_t frameId, std::uint32_t scan, const std::string& text)
    : CorruptDataError("CorruptScanDataError for FrameId=" + std::to_string(frameId) +
                       ", Scan=" + std::to_string(scan) + ": " + text) {}

}  // namespace lumo::io::kova
