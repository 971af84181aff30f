/**
 * @file kvs.h
 * Read access to analyses without ion mobility: one spectrum per frame.
 *
 * Such an analysis is a directory that holds `analysis.kvs`, an SQLite database with the metadata, and `analysis.kvs_bin`, a file
 * with one compressed block per spectrum. A spectrum has a *line spectrum* (detected peaks: position, intensity and, in some
 * analyses, width), a *profile spectrum* (one intensity per time-of-flight index), or both.
 *
 * The conventions are those of kova.h, with one difference: failures of kvs_* functions are stored apart from those of kova_*
 * functions, in a slot that kvs_get_last_error_string() reads. In short: a handle comes from kvs_open() and is valid until
 * kvs_close(); it is not validated; 0 is the failure value of every function that can fail, and the failing thread's text is
 * kept until its next failure; buffers are the caller's; different handles may be used by different threads at the same time,
 * one handle by one thread at a time; nothing is ever written beside the data.
 *
 * A result of 0 from a reading function is also what an empty spectrum gives. To tell the two apart, compare the last error
 * before and after the call, or ask the metadata whether the spectrum has data.
 */
#ifndef KOVADATA_KVS_H
#define KOVADATA_KVS_H

#include <stdint.h>

#include "export.h"
#include "version.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup kvs_analysis Opening and closing
 *  @{ */

/**
 * Opens an analysis without ion mobility for reading.
 *
 * @param analysis_directory_name  path of the analysis directory, UTF-8. NULL is a failure.
 * @param use_recalibrated_state   0: convert with the calibration that was stored during acquisition. Other values: use the
 *                                 newest complete state of `calibration.sqlite` in the analysis directory; without such a file
 *                                 the calibration of the acquisition is used.
 * @return handle of the open analysis; 0 on failure (see kvs_get_last_error_string()). A failed open leaves nothing open and
 *         nothing allocated.
 */
KOVADATA_API uint64_t kvs_open(const char* analysis_directory_name, uint32_t use_recalibrated_state);

/**
 * Closes an analysis and frees everything that belongs to its handle.
 *
 * @param handle  handle returned by kvs_open(), or 0, which does nothing. It is invalid afterwards.
 */
KOVADATA_API void kvs_close(uint64_t handle);

/**
 * Always 0: this interface does not report which calibration is in use.
 *
 * @param handle  not looked at
 * @return 0
 */
KOVADATA_API uint32_t kvs_has_recalibrated_state(uint64_t handle);

/** @} */

/** @defgroup kvs_process Errors and threads
 *  @{ */

/**
 * Copies the text of the calling thread's last failure in a kvs_* function.
 *
 * At most @p len bytes are written; a buffer that is too small receives the beginning of the text, terminated.
 *
 * @param buf  receives the text and its terminating zero. May be NULL when @p len is 0.
 * @param len  size of @p buf in bytes; 0 asks for the needed size only
 * @return size in bytes of the whole text with its terminating zero; larger than @p len means that the copy was cut. Without
 *         any failure so far on this thread the text is "<no error>". Never fails.
 */
KOVADATA_API uint32_t kvs_get_last_error_string(char* buf, uint32_t len);

/**
 * Sets the number of worker threads for numeric work in later calls of the calling thread; the same setting as
 * kova_set_num_threads().
 *
 * @param n  number of threads, at least 1
 */
KOVADATA_API void kvs_set_num_threads(uint32_t n);

/** @} */

/** @defgroup kvs_spectra Reading spectra
 *  @{ */

/**
 * Reads the line spectrum of a spectrum.
 *
 * The last spectrum is kept: reading its lines and then its profile, or asking for the size first, reads the file once.
 *
 * @param handle       handle of an open analysis
 * @param spectrum_id  "Id" of a row of table "Frames"
 * @param positions    receives the peak positions as they are stored: fractional indices for kvs_index_to_mz()
 * @param intensities  receives the peak intensities
 * @param length       number of values that each array has room for; 0 asks for the number of peaks only
 * @return number of peaks n. If n is larger than @p length, nothing was written: call again with larger arrays. 0 for a
 *         spectrum without peaks, and on failure: unknown spectrum, "No line spectra supported in this analysis.", a damaged
 *         file. Nothing is written on failure.
 */
KOVADATA_API uint32_t kvs_read_line_spectrum(uint64_t handle, int64_t spectrum_id, double* positions,
                                             float* intensities, uint32_t length);

/**
 * Reads the line spectrum of a spectrum with the widths of its peaks.
 *
 * @param handle       handle of an open analysis
 * @param spectrum_id  "Id" of a row of table "Frames"
 * @param positions    receives the peak positions
 * @param intensities  receives the peak intensities
 * @param widths       receives the peak widths, in the unit in which they are stored
 * @param length       number of values that each array has room for
 * @return as kvs_read_line_spectrum(); also 0 on "Invalid call to getLineSpectrum(), peak width are not available"
 */
KOVADATA_API uint32_t kvs_read_line_spectrum_with_width(uint64_t handle, int64_t spectrum_id,
                                                        double* positions, float* intensities, float* widths,
                                                        uint32_t length);

/**
 * Reads the profile spectrum of a spectrum.
 *
 * @param handle       handle of an open analysis
 * @param spectrum_id  "Id" of a row of table "Frames"
 * @param intensities  receives one intensity per time-of-flight index, from index 0
 * @param length       number of values that the array has room for; 0 asks for the number of points only
 * @return number of points N. If N is larger than @p length, nothing was written. 0 for a spectrum without profile, and on
 *         failure: unknown spectrum, "No profile spectra supported in this analysis.", a damaged file.
 */
KOVADATA_API uint32_t kvs_read_profile_spectrum(uint64_t handle, int64_t spectrum_id, uint32_t* intensities,
                                                uint32_t length);

/** @} */

/** @defgroup kvs_conversions Converting coordinates
 *  @{ */

/**
 * Converts time-of-flight indices of a spectrum to m/z, as kova_index_to_mz() does for a frame.
 *
 * The calibration is fetched by each call, so convert arrays rather than single values. With @p cnt 0 the spectrum is not
 * looked at. Input and output may be the same array or overlap: the result is as if the input had been copied before.
 *
 * @param handle       handle of an open analysis
 * @param spectrum_id  "Id" of a row of table "Frames"
 * @param index        indices to convert, fractional, counted from 0
 * @param mz           receives the m/z values
 * @param cnt          number of values
 * @return 1, or 0 on failure; the output is as it was then
 */
KOVADATA_API uint32_t kvs_index_to_mz(uint64_t handle, int64_t spectrum_id, const double* index, double* mz,
                                      uint32_t cnt);

/**
 * Converts m/z to time-of-flight indices of a spectrum; the inverse of kvs_index_to_mz().
 *
 * @param handle       handle of an open analysis
 * @param spectrum_id  "Id" of a row of table "Frames"
 * @param mz           m/z values to convert
 * @param index        receives the indices
 * @param cnt          number of values
 * @return 1, or 0 on failure; the output is as it was then
 */
KOVADATA_API uint32_t kvs_mz_to_index(uint64_t handle, int64_t spectrum_id, const double* mz, double* index,
                                      uint32_t cnt);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
