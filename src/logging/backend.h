#pragma once

#include "logging/configuration.h"

namespace lumo::logging {

// The state of logging: which loggers there are, and what applies to them. Nothing is read or opened when the
// library is loaded; the first logger that is asked for reads the configuration that the environment names.

// Applies to every logger, existing or still to come, in place of what the environment asks for. An empty
// configuration switches logging off.
void configure(Configuration configuration);

}  // namespace lumo::logging
