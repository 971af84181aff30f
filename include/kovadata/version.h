/* Version of the kovadata library, as macros only. */
#ifndef KOVADATA_VERSION_H
#define KOVADATA_VERSION_H

#define KOVADATA_VERSION_MAJOR 0
#define KOVADATA_VERSION_MINOR 1
#define KOVADATA_VERSION_PATCH 0
#define KOVADATA_VERSION_STRING "0.1.0"

#endif
