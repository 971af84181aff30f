/**
 * @file arrow_c_data.h
 * The three structures of the Arrow C data and C stream interfaces.
 *
 * They are a stable binary interface that any Arrow implementation takes and gives without copying and without a common
 * library (https://arrow.apache.org/docs/format/CDataInterface.html). The guards are those which the interface prescribes,
 * so that this header and another declaration of the same structures may be included together.
 *
 * Who consumes a structure calls its release callback once, unless it has handed the structure on by copying it and
 * setting the release callback of the source to NULL. A structure whose release callback is NULL is empty.
 */
#ifndef KOVADATA_ARROW_C_DATA_H
#define KOVADATA_ARROW_C_DATA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

/** Type of a column, or of a record batch: a struct whose children are the columns. */
struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    int64_t flags;
    int64_t n_children;
    struct ArrowSchema** children;
    struct ArrowSchema* dictionary;
    void (*release)(struct ArrowSchema*);
    void* private_data;
};

/** Values of a column, or of a record batch. */
struct ArrowArray {
    int64_t length;
    int64_t null_count;
    int64_t offset;
    int64_t n_buffers;
    int64_t n_children;
    const void** buffers;
    struct ArrowArray** children;
    struct ArrowArray* dictionary;
    void (*release)(struct ArrowArray*);
    void* private_data;
};

#endif

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

/** Record batches of one schema, one after the other. */
struct ArrowArrayStream {
    int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
    int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
    const char* (*get_last_error)(struct ArrowArrayStream*);
    void (*release)(struct ArrowArrayStream*);
    void* private_data;
};

#endif

#ifdef __cplusplus
}
#endif

#endif
