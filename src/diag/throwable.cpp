#include "diag/throwable.h"

#include <new>
#include <stdexcept>

#include "diag/errors.h"

// The types of exceptions that several folders raise; a type that only one folder raises is named there.
namespace lumo::diag {

std::string to_string(const StackTraceInfo& info) { return "[stack trace]\n" + info.value().toString(); }

}  // namespace lumo::diag

LUMO_THROWABLE(std::bad_alloc);
LUMO_THROWABLE(std::invalid_argument);
LUMO_THROWABLE(std::logic_error);
LUMO_THROWABLE(std::range_error);
LUMO_THROWABLE(std::runtime_error);
LUMO_THROWABLE(lumo::io::calibration::CorruptDataError);
LUMO_THROWABLE(lumo::io::kova::CalibrationStateError);
LUMO_THROWABLE(lumo::io::kova::CorruptFrameDataError);
LUMO_THROWABLE(lumo::io::kova::CorruptScanDataError);
