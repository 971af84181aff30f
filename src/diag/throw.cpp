#include "diag/throw.h"

namespace lumo::diag {

std::string to_string(const StackTraceInfo& info) { return "[stack trace]\n" + info.value().toString(); }

}  // namespace lumo::diag
