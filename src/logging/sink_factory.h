#pragma once

#include "logging/configuration.h"
#include "logging/settings.h"

namespace lumo::logging {

// The one place that knows which classes of the back end are used: those without locks ("_st"), inside our
// own locks (locked_sink.h), since a fork must be able to take all locks beforehand.
//
// Opens what the settings name. Fails with std::exception when a file cannot be written.
Configuration makeConfiguration(const Settings& settings);

}  // namespace lumo::logging
