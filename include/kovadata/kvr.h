/**
 * @file kvr.h
 * Whole runs: tables, peaks, chromatograms, mobilograms, summed spectra, images and MS/MS spectra of an analysis.
 *
 * This interface is in `libkovarun.so`, which also exports everything that kova.h and kvs.h declare: a program loads one
 * of the two libraries. A *run* is an open analysis of either format. What a call returns in bulk is an Arrow C stream
 * (see arrow_c_data.h): record batches that every Arrow implementation takes without a copy.
 *
 * Conventions, valid for every function below:
 *
 *  1. **Runs.** kvr_open() returns a run, all other functions take it. It is valid until kvr_close(). NULL is refused
 *     with a text by every function that can fail.
 *  2. **Errors.** A call that can fail returns 0 (or NULL) and stores an English text, which
 *     kvr_get_last_error_string() copies out: one slot per thread, kept until the next failure on that thread. A stream that
 *     fails tells its text by its own `get_last_error`, and by that slot too; its `get_next` returns an errno value, and it
 *     gives nothing after that. No exception leaves the library and nothing is printed.
 *  3. **Streams.** A stream may be released at any time, before its end too, which stops its work. Batches and schemas
 *     belong to who got them and may outlive the stream, the stream may outlive kvr_close(). Batches hold no nulls where a
 *     column is not said to be nullable.
 *  4. **Threads.** A run may be used by any number of threads at the same time, and any number of its streams may be open;
 *     one stream is used by one thread at a time. Worker threads belong to a stream and end with it; they run no code of
 *     the caller. Results are the same bits for any number of threads, size of batches and kind of processor.
 *  5. **Callbacks.** Progress and damage are reported on the calling thread, from inside the call or `get_next`. A callback
 *     must not throw, and must not use the stream that calls it.
 *  6. **Processes.** After a fork() the child opens runs again; those of its parent, and their streams, are refused there
 *     with a text. Releasing and closing them is allowed.
 *  7. **Ranges.** Ranges of values are closed, [low, high], and may have infinite ends; a NULL pointer is the whole range.
 *     A bound that is not a number, or a range that ends before it begins, is refused. A peak belongs to a range if its m/z
 *     as kova_index_to_mz() gives it, and its 1/K0 as kova_scannum_to_oneoverk0() gives it, with the calibration of its own
 *     frame, lie in it. Ranges of scans are half-open, [begin, end).
 *  8. **Structures** begin with `size`, which the caller sets to `sizeof` the structure; members beyond it that a
 *     later version adds are then 0. A structure of zeros with its size set asks for everything, with the defaults.
 *  9. **Files.** Nothing is written or created. Tables are read in one transaction each, and see what a writer has committed
 *     by then. The frames of a stream are those there were when it was made.
 */
#ifndef KOVADATA_KVR_H
#define KOVADATA_KVR_H

#include <stdint.h>

#include "arrow_c_data.h"
#include "export.h"
#include "version.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup kvr_run Opening and closing
 *  @{ */

/** A run: an open analysis, its readers, and the settings that it was opened with. */
typedef struct kvr_run kvr_run;

/** Which calibration converts indices and scan numbers; see kvr_options. */
enum kvr_calibration {
    KVR_CALIBRATION_OFF = 0,   /**< the calibration stored during acquisition */
    KVR_CALIBRATION_FIRST = 1, /**< the oldest complete re-calibrated state, of a source if one is given */
    KVR_CALIBRATION_LAST = 2,  /**< the newest complete one, of a source if one is given */
    KVR_CALIBRATION_LAST_INCOMPLETE = 3, /**< the newest one of the given source, complete or not */
    KVR_CALIBRATION_UUID = 4             /**< the state with the given key */
};

/** Which intensities are given: as kova_read_scans_v2() or as kova_read_scans_internal() gives them. */
enum kvr_intensities { KVR_INTENSITIES_DEFAULT = 0, KVR_INTENSITIES_NORMALIZED = 1, KVR_INTENSITIES_RAW = 2 };

/** How a run is opened. */
typedef struct kvr_options {
    uint32_t size;                     /**< sizeof(kvr_options) */
    uint32_t calibration;              /**< one of ::kvr_calibration */
    const char* calibration_parameter; /**< source or key, as the choice needs it; NULL or empty for none */
    uint32_t
        calibration_fallback; /**< not 0: where there is no such state, use the acquisition's calibration */
    uint32_t intensities;     /**< one of ::kvr_intensities; by default normalised */
    uint32_t threads;         /**< threads that a stream works with; 0: the processors the process may use */
    uint32_t reserved;        /**< 0 */
    /** bytes for what waits and for sums, 16 MB or a frame at least; 0: 256 MB. Half as much that was released, and 48 MB at
     *  most, is kept for the next batches until the run is closed */
    uint64_t memory_budget;
} kvr_options;

/**
 * Opens a run.
 *
 * @param path     directory of an analysis of either format, UTF-8
 * @param options  NULL for the defaults
 * @return the run, NULL on failure: what kova_open() and kvs_open() fail with, or a calibration that is not there and must be
 */
KOVADATA_API kvr_run* kvr_open(const char* path, const kvr_options* options);

/**
 * Closes a run. Streams that are open go on and free what they need when they are released.
 *
 * @param run  may be NULL
 */
KOVADATA_API void kvr_close(kvr_run* run);

/**
 * Copies the text of the calling thread's last failure in a kvr_* function or in a stream of one.
 *
 * @param buf  receives the text, terminated, cut if need be. May be NULL when @p len is 0.
 * @param len  size of @p buf in bytes
 * @return size of the whole text with its terminator; the text is "<no error>" without any failure so far
 */
KOVADATA_API uint32_t kvr_get_last_error_string(char* buf, uint32_t len);

/** What is known of a run without reading a frame. */
typedef struct kvr_info {
    uint32_t size;            /**< sizeof(kvr_info), set by the caller */
    uint32_t has_mobility;    /**< 1: frames of scans; 0: spectra without mobility */
    uint32_t recalibrated;    /**< 1: a re-calibrated state converts */
    uint32_t storage;         /**< 1: scans compressed one by one, 2: frames as a whole, 3: spectra */
    int32_t schema_major;     /**< "SchemaVersionMajor" */
    int32_t schema_minor;     /**< "SchemaVersionMinor" */
    uint32_t num_bins;        /**< indices are below this; 0 for spectra without mobility */
    uint32_t has_lines;       /**< spectra without mobility: 1 if there are line spectra */
    uint32_t has_line_widths; /**< ... if their peaks have widths */
    uint32_t has_profiles;    /**< ... if there are profile spectra */
    uint32_t normalization;   /**< 0: none, 2: by duty cycle, 4: to an accumulation time of 100 ms */
    uint32_t reserved;        /**< 0 */
    const char*
        calibration_state; /**< key of the re-calibrated state in use, or NULL; lives as long as the run */
} kvr_info;

/**
 * Tells what is known of a run.
 *
 * @param run   the run
 * @param info  filled as far as its `size` says
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_get_info(kvr_run* run, kvr_info* info);

/**
 * Lends a handle for the functions of kova.h, or of kvs.h for spectra without mobility, with the calibration of the run.
 *
 * It belongs to the run and is closed with it; kova_close() must not be called on it. It has a reader of its own, so it can be used
 * beside streams, by one thread at a time as any such handle. Each call gives the same handle.
 *
 * @param run  the run
 * @return the handle, 0 on failure
 */
KOVADATA_API uint64_t kvr_lend_handle(kvr_run* run);

/**
 * Tells the number of scans of a frame, from the metadata or from the frame itself.
 *
 * @param run    the run, with mobility
 * @param frame  "Id" of a row of table "Frames"
 * @param scans  receives the number of scans
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_count_scans(kvr_run* run, int64_t frame, uint32_t* scans);

/** What a run has done since it was opened, summed over its streams and threads. */
typedef struct kvr_counters {
    uint32_t size;                   /**< sizeof(kvr_counters), set by the caller */
    uint32_t reserved;               /**< 0 */
    uint64_t bytes_read;             /**< of the file of frames */
    uint64_t blocks_decompressed;    /**< frames or, where scans are compressed one by one, scans */
    uint64_t nanoseconds_reading;    /**< waiting for the file of frames */
    uint64_t nanoseconds_decompress; /**< decompression */
    uint64_t nanoseconds_decoding;   /**< decompressed bytes to peaks */
    uint64_t nanoseconds_conversion; /**< indices, scan numbers and ranges to and from m/z and 1/K0 */
    uint64_t nanoseconds_queries;    /**< the metadata database */
} kvr_counters;

/**
 * Reads the counters of a run; times are summed over threads.
 *
 * @param run       the run
 * @param counters  filled as far as its `size` says
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_get_counters(kvr_run* run, kvr_counters* counters);

/** @} */

/** @defgroup kvr_tables Tables
 *
 * What the metadata state. A column that the metadata of an analysis do not have, and a value that is missing or makes no
 * sense, is null.
 *  @{ */

/** Which table kvr_table() gives. */
enum kvr_table_kind {
    /** Key and value of "GlobalMetadata" in the order of the file: `key` and `value` (utf8). */
    KVR_TABLE_METADATA = 0,
    /**
     * One row per frame, ids ascending: `id` (int64), `time` in s (float64), `polarity` (utf8, "+" or "-"), `ms_level`
     * (int8, 1 or 2), `scans`, `peaks`, `intensity_sum` of the intensities as they were measured (int64),
     * `accumulation_time` and `ramp_time` in ms (float64), `mz_calibration` and `mobility_calibration` (ids of rows,
     * int64), `position` in the file of frames in bytes (int64).
     */
    KVR_TABLE_FRAMES = 1,
    /**
     * One row per precursor, ids ascending: `id`, `frame` (id of the survey frame, int64), `scan` (float64), `mz` in Th
     * (float64: monoisotopic, else of the largest peak, else average), `charge` (int64), `intensity` in counts and `time`
     * of the survey frame in s (float64), `one_over_k0` in V s / cm^2 (float64).
     */
    KVR_TABLE_PRECURSORS = 2,
    /**
     * One row per state of `calibration.sqlite`, oldest first, none without that file: `key` and `source` (utf8),
     * `mass_per_frame` (bool: it has mass calibrations of single frames), `mass_frames` and `mobility_frames` (int64: how
     * many frames it maps), `in_use` (bool).
     */
    KVR_TABLE_STATES = 3,
    /** In which scans of which frames precursors were fragmented, by frame and first scan: `frame`, `precursor`,
     *  `scan_begin` and `scan_end` (int64). */
    KVR_TABLE_ISOLATIONS = 4
};

/**
 * Reads a table.
 *
 * @param run     the run
 * @param table   one of ::kvr_table_kind
 * @param stream  receives the table in batches
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_table(kvr_run* run, uint32_t table, struct ArrowArrayStream* stream);

/**
 * Reads rows of the table of precursors, which costs nothing for the others.
 *
 * @param run             the run
 * @param precursors      "Id" of precursors, in any order
 * @param num_precursors  how many they are
 * @param stream          receives those that exist, as ::KVR_TABLE_PRECURSORS describes them
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_precursors(kvr_run* run, const int64_t* precursors, uint64_t num_precursors,
                                     struct ArrowArrayStream* stream);

/** @} */

/** @defgroup kvr_queries Selecting
 *  @{ */

/** A closed range of values. */
typedef struct kvr_range {
    double low;
    double high;
} kvr_range;

/** Which peaks a call is about. Frames are read in ascending order of their ids, or as `frames` lists them. */
typedef struct kvr_query {
    uint32_t size;         /**< sizeof(kvr_query) */
    uint32_t ms_level;     /**< 1 or 2: only such frames; 0: all, also those whose level is not stated */
    const int64_t* frames; /**< ids of frames, each read as often as it is listed; NULL for all frames */
    uint64_t num_frames;   /**< how many; 0 with a pointer that is not NULL is no frame at all */
    const kvr_range* time; /**< of frames, in s; frames without a stated time are in the whole range only */
    const kvr_range* mz;   /**< in Th */
    const kvr_range* one_over_k0; /**< in V s / cm^2 */
    uint32_t scan_begin;          /**< first scan */
    uint32_t
        scan_end; /**< scan after the last; 0: all from the first on. Scans that a frame lacks are no failure. */
    uint32_t intensities; /**< one of ::kvr_intensities; by default as the run was opened */
    uint32_t reserved;    /**< 0 */
} kvr_query;

/**
 * Tells how far a call is.
 *
 * @param context  the caller's
 * @param done     frames (or precursors, or spectra) that are done
 * @param total    all of them
 * @return 0 to end the call or stream with "Cancelled by the caller.", anything else to go on
 */
typedef uint32_t (*kvr_progress_callback)(void* context, uint64_t done, uint64_t total);

/**
 * Tells of a frame (or spectrum) that was left out because it is damaged.
 *
 * @param context  the caller's
 * @param frame    its id
 * @param text     what is wrong with it; valid during the call
 */
typedef void (*kvr_damage_callback)(void* context, int64_t frame, const char* text);

/** How a call works, apart from what it gives. NULL or a structure of zeros with its size is fine everywhere. */
typedef struct kvr_control {
    uint32_t size;       /**< sizeof(kvr_control) */
    uint32_t threads;    /**< 0: as the run was opened; 1: the calling thread alone */
    uint64_t batch_size; /**< rows in a batch at most; 0: 1,048,576 */
    uint32_t
        skip_damaged;  /**< not 0: leave damaged frames out; 0: the first one ends the stream with its text */
    uint32_t reserved; /**< 0 */
    kvr_progress_callback progress; /**< may be NULL */
    kvr_damage_callback damaged;    /**< told of each frame left out; may be NULL */
    void* context;                  /**< passed on to both */
} kvr_control;

/** @} */

/** @defgroup kvr_peaks Peaks
 *  @{ */

/** Columns of kvr_peaks(), combined with |, in the order in which they come. */
enum kvr_column {
    KVR_COLUMN_FRAME = 1,      /**< `frame` (int64): id */
    KVR_COLUMN_TIME = 2,       /**< `time` (float64, nullable) in s, of the frame */
    KVR_COLUMN_MS_LEVEL = 4,   /**< `ms_level` (int8, nullable), of the frame */
    KVR_COLUMN_SCAN = 8,       /**< `scan` (uint32) */
    KVR_COLUMN_TOF_INDEX = 16, /**< `tof_index` (uint32) */
    KVR_COLUMN_INTENSITY = 32, /**< `intensity` (uint32) */
    KVR_COLUMN_MZ = 64, /**< `mz` (float64, nullable) in Th; null in a frame without mass calibration */
    KVR_COLUMN_ONE_OVER_K0 =
        128 /**< `one_over_k0` (float64, nullable); null in a frame without mobility calibration */
};

/**
 * Reads the peaks of a query: frames in order, scans ascending, indices ascending.
 *
 * @param run      the run, with mobility
 * @param query    which peaks; NULL for all
 * @param columns  of ::kvr_column, combined; 0 for frame, scan, tof_index, intensity, mz and one_over_k0
 * @param control  may be NULL
 * @param stream   receives the peaks
 * @return 1, 0 on failure. A query by m/z or 1/K0 ends at a frame without that calibration.
 */
KOVADATA_API uint32_t kvr_peaks(kvr_run* run, const kvr_query* query, uint32_t columns,
                                const kvr_control* control, struct ArrowArrayStream* stream);

/** @} */

/** @defgroup kvr_reductions Chromatograms, mobilograms, spectra and images
 *
 * Sums are unsigned 64-bit integers of 32-bit intensities.
 *  @{ */

/** What becomes of the intensities of peaks that fall together. */
enum kvr_reduce { KVR_REDUCE_SUM = 0, KVR_REDUCE_MAX = 1, KVR_REDUCE_COUNT = 2 };

/** What a chromatogram or mobilogram is of. Ranges as in kvr_query; -INFINITY to INFINITY is everything. */
typedef struct kvr_target {
    kvr_range mz;          /**< in Th */
    kvr_range one_over_k0; /**< in V s / cm^2 */
    kvr_range time;        /**< in s */
} kvr_target;

/**
 * Chromatograms of any number of targets in one pass over the frames.
 *
 * One row per frame of the query: `frame` (int64), `time` (float64, nullable) and `intensity` (fixed-size list of uint64, one
 * value per target in the order given; 0 where the frame is outside the target's time).
 *
 * @param run          the run, with mobility
 * @param query        which frames, and a box that limits all targets; NULL for all
 * @param targets      the targets
 * @param num_targets  how many; 0 is allowed
 * @param reduce       one of ::kvr_reduce
 * @param control      may be NULL
 * @param stream       receives the rows
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_chromatograms(kvr_run* run, const kvr_query* query, const kvr_target* targets,
                                        uint64_t num_targets, uint32_t reduce, const kvr_control* control,
                                        struct ArrowArrayStream* stream);

/**
 * Mobilograms of any number of targets in one pass over the frames.
 *
 * One row per scan, from 0 to the largest number of scans among the frames: `scan` (uint32), `one_over_k0` (float64,
 * nullable; by the calibration of the first frame of the query), `intensity` (fixed-size list of uint64, one per target).
 * Peaks are counted by their scan number. Parameters as for kvr_chromatograms().
 *
 * @param run          the run, with mobility
 * @param query        which frames, and a box that limits all targets; NULL for all
 * @param targets      the targets
 * @param num_targets  how many; 0 is allowed
 * @param reduce       one of ::kvr_reduce
 * @param control      may be NULL; the frames are read by the first `get_next`
 * @param stream       receives the rows
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_mobilograms(kvr_run* run, const kvr_query* query, const kvr_target* targets,
                                      uint64_t num_targets, uint32_t reduce, const kvr_control* control,
                                      struct ArrowArrayStream* stream);

/**
 * The spectrum of all peaks of a query, summed over frames and scans.
 *
 * One row per index at which there is a peak, ascending: `tof_index` (uint32), `mz` (float64, nullable), `intensity`
 * (uint64), `count` of peaks (uint64). Index and m/z are those of the first frame of the query. A peak of a frame whose mass
 * calibration converts differently is counted at the index whose m/z there is nearest to its own: the index that
 * kova_mz_to_index() of the first frame gives for the m/z that kova_index_to_mz() of its own frame gives, rounded to the nearest
 * integer, halves upwards, and held to the range of indices. So a spectrum stays sharp where the calibration follows the
 * temperature, and no intensity is divided. Where no frame has a mass calibration, indices are summed as they are.
 *
 * @param run      the run, with mobility
 * @param query    which peaks; NULL for all
 * @param control  may be NULL; the frames are read by the first `get_next`
 * @param stream   receives the spectrum
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_summed_spectrum(kvr_run* run, const kvr_query* query, const kvr_control* control,
                                          struct ArrowArrayStream* stream);

/** What an axis of an image shows. */
enum kvr_axis_kind { KVR_AXIS_TIME = 0, KVR_AXIS_MZ = 1, KVR_AXIS_ONE_OVER_K0 = 2 };

/**
 * An axis of an image: `bins` cells of equal width from `low` to `high`. Cell k holds low + k * width <= value < low + (k + 1)
 * * width with width = (high - low) / bins, the last one high too.
 */
typedef struct kvr_axis {
    uint32_t kind; /**< one of ::kvr_axis_kind */
    uint32_t bins; /**< at least 1 */
    double low;    /**< low and high both NaN: the range of the query, or else of the frames; written back */
    double high;
} kvr_axis;

/**
 * An image of the peaks of a query on a grid.
 *
 * One row per cell of the y axis, from its low end: `y` (float64, lower edge of the cell) and `values` (fixed-size list of
 * uint64, one per cell of the x axis).
 *
 * @param run      the run, with mobility
 * @param query    which peaks; NULL for all
 * @param x        horizontal axis; a range that was left open is written back
 * @param y        vertical axis of another kind, likewise
 * @param reduce   one of ::kvr_reduce
 * @param control  may be NULL; the frames are read by the first `get_next`
 * @param stream   receives the rows
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_image(kvr_run* run, const kvr_query* query, kvr_axis* x, kvr_axis* y,
                                uint32_t reduce, const kvr_control* control, struct ArrowArrayStream* stream);

/** @} */

/** @defgroup kvr_spectra MS/MS spectra, and spectra without mobility
 *  @{ */

/** What is read of a spectrum. */
enum kvr_spectrum_kind { KVR_SPECTRUM_LINES = 0, KVR_SPECTRUM_PROFILE = 1 };

/**
 * MS/MS spectra of precursors, each summed over the frames in which it was fragmented, in the order of their last frame; those
 * of one frame in the order of their parents, then of their ids.
 *
 * Lines: `precursor` (int64), `mz` (list of float64), `intensity` (list of float32); profiles: `precursor`, `intensity` (list of
 * int32, one per index from 0); the values of kova_read_zorel_msms() and kova_read_zorel_profile_msms().
 *
 * @param run             the run, with mobility
 * @param precursors      ids; repeated ones count once, unknown ones are left out; NULL for all
 * @param num_precursors  how many
 * @param parent          NULL, or the id of a survey frame: only precursors selected in it
 * @param kind            one of ::kvr_spectrum_kind
 * @param control         may be NULL; with `skip_damaged` the precursors that need a damaged frame are left out, and the
 *                        frame is reported once
 * @param stream          receives the spectra
 * @return 1, 0 on failure: "No Precursor table found. This is not a ZOREL analysis"
 */
KOVADATA_API uint32_t kvr_msms(kvr_run* run, const int64_t* precursors, uint64_t num_precursors,
                               const int64_t* parent, uint32_t kind, const kvr_control* control,
                               struct ArrowArrayStream* stream);

/**
 * Spectra of an analysis without mobility.
 *
 * Lines: `id` (int64), `position` (list of float64, fractional indices), `mz` (list of float64, nullable), `intensity` (list of
 * float32), `width` (list of float32, nullable); profiles: `id`, `intensity` (list of uint32, one per index from 0).
 *
 * @param run      the run, without mobility
 * @param query    which frames; members about m/z, mobility and scans must be NULL or 0. NULL for all.
 * @param kind     one of ::kvr_spectrum_kind
 * @param control  may be NULL
 * @param stream   receives the spectra
 * @return 1, 0 on failure
 */
KOVADATA_API uint32_t kvr_spectra(kvr_run* run, const kvr_query* query, uint32_t kind,
                                  const kvr_control* control, struct ArrowArrayStream* stream);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
