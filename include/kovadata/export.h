/* Marks the functions that the shared library exports. */
#ifndef KOVADATA_EXPORT_H
#define KOVADATA_EXPORT_H

#if defined(__GNUC__)
#define KOVADATA_API __attribute__((visibility("default")))
#else
#define KOVADATA_API
#endif

#endif
