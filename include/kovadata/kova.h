/**
 * @file kova.h
 * Read access to ion-mobility time-of-flight analyses.
 *
 * An analysis is a directory that holds `analysis.kvd`, an SQLite database with the metadata, and `analysis.kvd_bin`,
 * a file with one compressed block per frame. A *frame* is one accumulation followed by one mobility ramp: a series of
 * mobility *scans*, each of them one time-of-flight spectrum. A *peak* is a pair of a time-of-flight *index* (the
 * number of the digitizer sample, counted from 0) and an intensity.
 *
 * Conventions, valid for every function below:
 *
 *  1. **Handle.** kova_open() returns a handle, all other functions take it. A handle is valid until kova_close() is
 *     called on it. Handles are not validated: passing anything that is not a valid handle (0 included, except to
 *     kova_close()) is undefined behaviour.
 *  2. **Errors.** The return value says whether a call succeeded; its failure value is 0. A failing call stores an
 *     English text, which kova_get_last_error_string() copies out. The text belongs to the thread whose call failed,
 *     stays until the next failure on that thread, and is not cleared by a success. After a failure the handle is still
 *     usable, and intact frames are still readable. No exception ever leaves the library and nothing is printed.
 *  3. **Ownership.** The caller owns every buffer, the library owns every handle. Nothing that the library returns has
 *     to be freed except a handle, by kova_close().
 *  4. **Threads.** The library takes no locks. Different handles may be used by different threads at the same time;
 *     one handle must not be used by two threads at the same time. A handle may be opened on one thread and used on
 *     another. For parallel reading open one handle per thread.
 *  5. **Processes.** A handle must not be used on both sides of a fork(): open anew in the child.
 *  6. **Files.** Nothing in the analysis directory is ever written or created. An analysis may still be growing while
 *     it is open; locks held by a writer on the database are waited for up to 15 seconds.
 *  7. **Pointers.** Where a pointer may be NULL it is said so. Text is UTF-8 and zero-terminated.
 */
#ifndef KOVADATA_KOVA_H
#define KOVADATA_KOVA_H

#include <stdint.h>

#include "export.h"
#include "version.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup kova_analysis Opening and closing
 *  @{ */

/**
 * Opens an analysis for reading.
 *
 * The metadata database is opened and checked, and the file with the frames is opened; no frame is read.
 *
 * @param analysis_directory_name  path of the analysis directory (not of a file in it), UTF-8. NULL is a failure.
 * @param use_recalibrated_state   0: convert with the calibration that was stored during acquisition.
 *                                 Other values: use the newest complete state of `calibration.sqlite` in the analysis
 *                                 directory; without such a file the calibration of the acquisition is used, see
 *                                 kova_has_recalibrated_state().
 * @return handle of the open analysis; 0 on failure. Common causes: "Invalid UTF-8", "Specified analysis directory does
 *         not exist.", a missing file, an SQLite error, "KVD schema version %d.%d not supported.".
 *         A failed open leaves nothing open and nothing allocated.
 */
KOVADATA_API uint64_t kova_open(const char *analysis_directory_name, uint32_t use_recalibrated_state);

/**
 * Closes an analysis and frees everything that belongs to its handle.
 *
 * @param handle  handle returned by kova_open(), or 0, which does nothing. It is invalid afterwards.
 */
KOVADATA_API void kova_close(uint64_t handle);

/**
 * Tells which calibration the conversions of a handle use.
 *
 * @param handle  handle of an open analysis
 * @return 1 if the calibration is a re-calibrated state of `calibration.sqlite`, 0 if it is the calibration that was
 *         stored during acquisition. Never fails.
 */
KOVADATA_API uint32_t kova_has_recalibrated_state(uint64_t handle);

/** @} */

/** @defgroup kova_process Errors and threads
 *  @{ */

/**
 * Copies the text of the calling thread's last failure in a kova_* function.
 *
 * At most @p len bytes are written. A buffer that is too small receives the beginning of the text, terminated; the cut
 * may fall inside a multi-byte character of a path. The stored text is not changed by this call.
 *
 * @param buf  receives the text and its terminating zero. May be NULL when @p len is 0.
 * @param len  size of @p buf in bytes; 0 asks for the needed size only
 * @return size in bytes of the whole text with its terminating zero; larger than @p len means that the copy was cut.
 *         Without any failure so far on this thread the text is "<no error>". Never fails.
 */
KOVADATA_API uint32_t kova_get_last_error_string(char *buf, uint32_t len);

/**
 * Sets the number of worker threads for numeric work in later calls of the calling thread.
 *
 * The count belongs to the OpenMP runtime of the process (it calls `omp_set_num_threads`), applies to every handle, and
 * is used by conversions of 100 values or more. Reading scans never uses worker threads.
 *
 * @param n  number of threads, at least 1. Values that do not fit a positive int are the caller's mistake and left to
 *           the OpenMP runtime.
 */
KOVADATA_API void kova_set_num_threads(uint32_t n);

/** @} */

/** @defgroup kova_scans Reading scans
 *  @{ */

/**
 * Reads the peaks of a range of scans of one frame, with normalised intensities.
 *
 * Layout of the result, all values being 32-bit unsigned in native byte order, n = @p scan_end - @p scan_begin:
 *
 *     count[0] ... count[n-1]              number of peaks of each scan
 *     index[0 ... count[0]-1]              first scan: its indices, ascending,
 *     intensity[0 ... count[0]-1]                      then its intensities
 *     index[...] intensity[...]            second scan, and so on
 *
 * that is 4 * (n + 2 * number of peaks) bytes. Peaks whose index is not below the number of digitizer samples of the
 * analysis are left out.
 *
 * Intensities are normalised as the schema version of the analysis implies: version 1: not at all; version 2: times
 * RampTime / AccumulationTime of the frame (duty cycle); version 3: times 100 ms / AccumulationTime. The product is
 * rounded to the nearest integer (half away from zero), limited to 0 ... 4294967295. A frame whose
 * AccumulationTime is 0 is not scaled. kova_read_scans_internal() reads the same peaks as they were measured.
 *
 * A frame is decompressed when one of its scans is first read and kept until a scan of another frame is read. Reading a
 * frame in several calls therefore costs little more than reading it in one; alternating between frames does not.
 *
 * @param handle      handle of an open analysis
 * @param frame_id    "Id" of a row of table "Frames"
 * @param scan_begin  first scan, counted from 0
 * @param scan_end    scan after the last one; must be greater than @p scan_begin and at most the frame's scan count
 * @param buf         receives the result; any alignment. May be NULL when @p length is 0.
 * @param length      size of @p buf in bytes; 0 asks for the needed size only
 * @return number of bytes that the result needs. If that is larger than @p length, @p buf was not touched: call again
 *         with a larger buffer. Bytes of @p buf beyond the result, up to @p length, may be overwritten.
 *         0 on failure, @p buf is not touched then. Causes: "scan_end must be > scan_begin", an unknown frame, a scan out of
 *         range, a damaged file, or "Maximum decompressed frame size exceeded." (more than 1,073,741,823 values).
 */
KOVADATA_API uint32_t kova_read_scans_v2(uint64_t handle, int64_t frame_id, uint32_t scan_begin, uint32_t scan_end,
                                         void *buf, uint32_t length);

/**
 * Reads the peaks of a range of scans of one frame with intensities as they were measured.
 *
 * Same as kova_read_scans_v2() without the normalisation of intensities.
 *
 * @param handle      handle of an open analysis
 * @param frame_id    "Id" of a row of table "Frames"
 * @param scan_begin  first scan, counted from 0
 * @param scan_end    scan after the last one
 * @param buf         receives the result; any alignment. May be NULL when @p length is 0.
 * @param length      size of @p buf in bytes
 * @return number of bytes that the result needs, 0 on failure; as kova_read_scans_v2()
 */
KOVADATA_API uint32_t kova_read_scans_internal(uint64_t handle, int64_t frame_id, uint32_t scan_begin,
                                               uint32_t scan_end, void *buf, uint32_t length);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
