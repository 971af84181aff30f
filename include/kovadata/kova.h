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
 *  4. **Threads.** Different handles may be used by different threads at the same time; one handle must not be used by
 *     two threads at the same time. A handle may be opened on one thread and used on another. For parallel reading open one
 *     handle per thread. A thread is not cancelled inside a function; exit() may be called while others are in one.
 *  5. **Processes.** A handle must not be used on both sides of a fork(): open the analysis again in the
 *     child, where a handle from before the fork is refused as soon as it needs the database.
 *  6. **Files.** Nothing in the analysis directory is ever written or created. An analysis may still be growing while
 *     it is open; locks held by a writer on the database are waited for up to 15 seconds. The writer may be the program
 *     itself: none of its locks is dropped. When the writer ends while a handle is open, SQLite leaves its log
 *     (`analysis.kvd-wal`) there, which belongs to the analysis then.
 *  7. **Pointers.** A pointer may be NULL where its description says so. Text is UTF-8 and zero-terminated.
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
KOVADATA_API uint64_t kova_open(const char* analysis_directory_name, uint32_t use_recalibrated_state);

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
KOVADATA_API uint32_t kova_get_last_error_string(char* buf, uint32_t len);

/**
 * Sets the number of worker threads for numeric work in later calls of the calling thread.
 *
 * The count belongs to the OpenMP runtime of the process (it calls `omp_set_num_threads`), applies to every handle, and
 * is used by conversions between index and m/z of so many values that threads pay, which are some thousands. Where the
 * system has no thread to give, the calling thread does the work alone. Reading scans never uses worker threads.
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
KOVADATA_API uint32_t kova_read_scans_v2(uint64_t handle, int64_t frame_id, uint32_t scan_begin,
                                         uint32_t scan_end, void* buf, uint32_t length);

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
                                               uint32_t scan_end, void* buf, uint32_t length);

/** @} */

/** @defgroup kova_conversions Converting coordinates
 *
 * Each frame has a mass calibration (index <-> m/z) and, where the instrument has a mobility ramp, a mobility calibration
 * (scan number <-> voltage <-> 1/K0). The calls below convert @p cnt values of one frame. Units: index and scan number are
 * counted from 0 and may be fractional; m/z in Th; 1/K0 in V s / cm^2; voltage in V; CCS in square angstrom.
 *
 * Common to the calls on arrays: input and output hold @p cnt values each and may be the same array or overlap. Conversions
 * of m/z then give what they would if the input had been copied before, conversions of mobility write each value right
 * after its input was read. Both may be NULL when @p cnt is 0. Values outside the calibrated range are extrapolated, nothing
 * is clipped; infinities and not-a-number pass through. They return 1 on success and 0 on failure; the output may be partly
 * written then. With @p cnt 0 they return 1 without looking at the frame.
 *  @{ */

/**
 * Converts time-of-flight indices of a frame to m/z.
 *
 * With the flight time t = index * timebase + delay, m/z is the solution of the frame's calibration function:
 * quadratic model t = A0 + sqrt(A1 m) + A2 m, or cubic model t = A3 s^3 + A2 s^2 + sqrt(A1) s + A0 with s = sqrt(m + DM);
 * A1 = 1e12 / C1, the other constants are the coefficients of the frame's row in "MzCalibration". Roots carry the sign of
 * their argument, so that times before A0 give negative masses. The cubic model is solved by a fixed sequence of steps from
 * the quadratic solution.
 *
 * The calibration of the last frame converted is kept; alternating between frames fetches it each time. From some thousand
 * values on, the work is shared by the worker threads set with kova_set_num_threads(); the results do not depend on their
 * number.
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of a row of table "Frames"
 * @param index     indices to convert
 * @param mz        receives the m/z values
 * @param cnt       number of values
 * @return 1, or 0 on failure: unknown frame; "No m/z trafo available." when the frame's calibration is missing; "complex valued
 *         solution in computation due to invalid calibration constants/value range" (below 100 values) or "Transformation
 *         failed, most likely due to bad calibration constants." (from 100 values on) when a value has no solution
 */
KOVADATA_API uint32_t kova_index_to_mz(uint64_t handle, int64_t frame_id, const double* index, double* mz,
                                       uint32_t cnt);

/**
 * Converts m/z to time-of-flight indices of a frame; the inverse of kova_index_to_mz().
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of a row of table "Frames"
 * @param mz        m/z values to convert
 * @param index     receives the indices
 * @param cnt       number of values
 * @return 1, or 0 on failure: unknown frame, "No m/z trafo available."
 */
KOVADATA_API uint32_t kova_mz_to_index(uint64_t handle, int64_t frame_id, const double* mz, double* index,
                                       uint32_t cnt);

/**
 * Converts scan numbers of a frame to reduced inverse mobility 1/K0.
 *
 * The ramp gives the voltage u = slope * (scan - transit time) + intercept, whose amount gives
 * 1/K0 = 1 / (c1 / u + c0) inside the calibrated voltage interval; outside, the function continues as a straight line.
 *
 * @param handle     handle of an open analysis
 * @param frame_id   "Id" of a row of table "Frames"
 * @param scannum    scan numbers to convert
 * @param oneoverk0  receives the values of 1/K0
 * @param cnt        number of values
 * @return 1, or 0 on failure: unknown frame, a frame without mobility calibration ("Frame [%d] does not exist or is missing
 *         KovaCalibration"), "No mobility trafo available." when the calibration is missing, or an invalid calibration
 */
KOVADATA_API uint32_t kova_scannum_to_oneoverk0(uint64_t handle, int64_t frame_id, const double* scannum,
                                                double* oneoverk0, uint32_t cnt);

/**
 * Converts reduced inverse mobility 1/K0 to scan numbers; the inverse of kova_scannum_to_oneoverk0().
 *
 * @param handle     handle of an open analysis
 * @param frame_id   "Id" of a row of table "Frames"
 * @param oneoverk0  values of 1/K0 to convert
 * @param scannum    receives the scan numbers
 * @param cnt        number of values
 * @return 1, or 0 on failure as kova_scannum_to_oneoverk0()
 */
KOVADATA_API uint32_t kova_oneoverk0_to_scannum(uint64_t handle, int64_t frame_id, const double* oneoverk0,
                                                double* scannum, uint32_t cnt);

/**
 * Converts scan numbers of a frame to the voltage of the mobility ramp. Negative mode has negative voltages.
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of a row of table "Frames"
 * @param scannum   scan numbers to convert
 * @param voltage   receives the voltages
 * @param cnt       number of values
 * @return 1, or 0 on failure as kova_scannum_to_oneoverk0()
 */
KOVADATA_API uint32_t kova_scannum_to_voltage(uint64_t handle, int64_t frame_id, const double* scannum,
                                              double* voltage, uint32_t cnt);

/**
 * Converts voltages of the mobility ramp to scan numbers; the inverse of kova_scannum_to_voltage().
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of a row of table "Frames"
 * @param voltage   voltages to convert
 * @param scannum   receives the scan numbers
 * @param cnt       number of values
 * @return 1, or 0 on failure as kova_scannum_to_oneoverk0()
 */
KOVADATA_API uint32_t kova_voltage_to_scannum(uint64_t handle, int64_t frame_id, const double* voltage,
                                              double* scannum, uint32_t cnt);

/**
 * Collisional cross section in nitrogen of an ion with a given 1/K0, m/z and charge. Needs no handle; any thread.
 *
 *     CCS = |z| F / ((1 / (1/K0)) sqrt(mu T)),   mu = m M / (m + M),   m = mz |z| + z * 0.00054857990946
 *
 * with M = 28.0134 u (nitrogen), T = 305 K and F = 18509.863216340458. This is the Mason-Schamp relation (E. A. Mason, E. W.
 * McDaniel, Transport Properties of Ions in Gases, Wiley 1988) for the number density N0 at 273.15 K and 101325 Pa:
 * F = 3/16 (e / N0) sqrt(2 pi / (u k)) in the units above, which is 18509.866438 with the CODATA 2018 values of e, k and u; the
 * constant in use lies 0.17 ppm below. The electron mass (0.00054857990946 u) is added with the sign of the charge, so
 * that z and -z give slightly different results for the same m/z.
 *
 * @param ook0    1/K0 in V s / cm^2
 * @param charge  charge number with its sign; with 0 the mass is @p mz and the result 0
 * @param mz      m/z in Th
 * @return CCS in square angstrom. Never fails; a negative mass may give not-a-number.
 */
KOVADATA_API double kova_oneoverk0_to_ccs_for_mz(double ook0, int32_t charge, double mz);

/**
 * 1/K0 of an ion with a given collisional cross section, m/z and charge; the inverse of kova_oneoverk0_to_ccs_for_mz().
 *
 * @param ccs     collisional cross section in square angstrom
 * @param charge  charge number with its sign; 0 gives infinity
 * @param mz      m/z in Th
 * @return 1/K0 in V s / cm^2. Never fails.
 */
KOVADATA_API double kova_ccs_to_oneoverk0_for_mz(double ccs, int32_t charge, double mz);

/** @} */

/** @defgroup kova_zorel MS/MS spectra of precursors
 *
 *  In a `zorel` acquisition an MS/MS frame fragments several precursors one after another, each in its own range of
 *  mobility scans, and most precursors are fragmented in several frames. Table "Precursors" lists the precursors with the
 *  MS1 frame they were selected in ("Parent"), table "ZorelFrameMsMsInfo" says which scans of which frame belong to which
 *  precursor. For each precursor the functions below sum up the scans of all its frames, with intensities normalised as by
 *  kova_read_scans_v2(), into one *profile*: one intensity per time-of-flight index. The line functions find the peaks of
 *  the profile and convert their positions to m/z with the mass calibration of the parent frame.
 *
 *  Valid for all of them:
 *
 *   - **Order.** The callback runs once per precursor, on the calling thread, as soon as the precursor's last frame has been
 *     read. Frames are read in ascending order of their ids, each of them once: ask for many precursors in one call rather
 *     than in many.
 *   - **Arrays** passed to a callback belong to the library and are valid only until the callback returns. They may be
 *     NULL when their number of entries is 0.
 *   - **Inside a callback** other functions may be called on the same handle, except kova_close().
 *   - **A callback must return.** It must not leave by longjmp() or end its thread. In C++ it should not throw either: an
 *     exception derived from std::exception ends the call, which returns 0 with the exception's text as last error; any
 *     other exception leaves "Unknown exception.". Without unwind information (for instance C code built with
 *     -fno-exceptions between library and thrower) the process is terminated.
 *   - **Failures.** Spectra passed to the callback before a failure are good; there are no more after it. Causes:
 *     "No Precursor table found. This is not a ZOREL analysis", a missing table ("no such table: ..."), precursors whose
 *     scan range is not the same in all frames ("Invalid data, precursor scan ranges have to be identical for every
 *     frame, mismatch for precursor ..."), a parent frame without mass calibration ("No m/z trafo available."), scans that
 *     a frame does not have, and whatever else can go wrong when scans are read.
 *   - **Memory** is needed for the precursors between their first and their last frame: 8 bytes per peak, at most 8 bytes
 *     per bin of their profile. Some working memory stays with the calling thread until that ends.
 *   - **Threads.** All work is done on the calling thread; kova_set_num_threads() has no effect here.
 *  @{ */

/**
 * Receives one line spectrum.
 *
 * @param precursor_id  "Id" of the row of table "Precursors"
 * @param num_peaks     number of peaks, may be 0
 * @param mz_values     m/z of each peak, in the order of their time-of-flight indices
 * @param intensities   intensity of each peak: the largest bin at its apex
 */
typedef void (*kova_zorel_msms_callback)(int64_t precursor_id, uint32_t num_peaks, double* mz_values,
                                         float* intensities);

/**
 * Receives one line spectrum and the caller's context.
 *
 * @param precursor_id  "Id" of the row of table "Precursors"
 * @param num_peaks     number of peaks, may be 0
 * @param mz_values     m/z of each peak, in the order of their time-of-flight indices
 * @param intensities   intensity of each peak: the largest bin at its apex
 * @param context       the pointer that was passed to the reading function
 */
typedef void (*kova_zorel_msms_callback_v2)(int64_t precursor_id, uint32_t num_peaks, const double* mz_values,
                                            const float* intensities, void* context);

/**
 * Receives one profile.
 *
 * @param precursor_id  "Id" of the row of table "Precursors"
 * @param num_bins      number of bins: 100 more than the highest index at which any scan of the precursor has its last
 *                      peak, and 100 when there is no peak
 * @param intensities   summed intensity of each time-of-flight index from 0; sums wrap in 32 bits
 */
typedef void (*kova_zorel_profile_callback)(int64_t precursor_id, uint32_t num_bins, int32_t* intensities);

/**
 * Receives one profile and the caller's context.
 *
 * @param precursor_id  "Id" of the row of table "Precursors"
 * @param num_bins      number of bins, as for kova_zorel_profile_callback
 * @param intensities   summed intensity of each time-of-flight index from 0; sums wrap in 32 bits
 * @param context       the pointer that was passed to the reading function
 */
typedef void (*kova_zorel_profile_callback_v2)(int64_t precursor_id, uint32_t num_bins,
                                               const int32_t* intensities, void* context);

/**
 * Reads the MS/MS line spectra of the listed precursors.
 *
 * @param handle          handle of an open analysis
 * @param precursors      ids of precursors, in any order; repeated ids count once and unknown ones are ignored. Must not be
 *                        NULL unless @p num_precursors is 0; this is not checked.
 * @param num_precursors  number of ids; 0 reads nothing
 * @param callback        called once per precursor that has scans; must not be NULL, which is not checked
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_msms(uint64_t handle, const int64_t* precursors,
                                           uint32_t num_precursors, kova_zorel_msms_callback callback);

/**
 * Reads the MS/MS line spectra of the listed precursors, with checked arguments and a context for the callback.
 *
 * @param handle          handle of an open analysis
 * @param precursors      ids of precursors, as for kova_read_zorel_msms(). May be NULL when @p num_precursors is 0; fails
 *                        with "expected non-null 'precursors' pointer" otherwise.
 * @param num_precursors  number of ids; 0 reads nothing
 * @param callback        called once per precursor that has scans; NULL fails with "expected non-null callback"
 * @param context         passed on to the callback as it is; may be NULL
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_msms_v2(uint64_t handle, const int64_t* precursors,
                                              uint32_t num_precursors, kova_zorel_msms_callback_v2 callback,
                                              void* context);

/**
 * Reads the MS/MS profiles of the listed precursors.
 *
 * @param handle          handle of an open analysis
 * @param precursors      ids of precursors, as for kova_read_zorel_msms()
 * @param num_precursors  number of ids; 0 reads nothing
 * @param callback        called once per precursor that has scans; must not be NULL, which is not checked
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_profile_msms(uint64_t handle, const int64_t* precursors,
                                                   uint32_t num_precursors,
                                                   kova_zorel_profile_callback callback);

/**
 * Reads the MS/MS profiles of the listed precursors, with checked arguments and a context for the callback.
 *
 * @param handle          handle of an open analysis
 * @param precursors      ids of precursors, as for kova_read_zorel_msms_v2()
 * @param num_precursors  number of ids; 0 reads nothing
 * @param callback        called once per precursor that has scans; NULL fails with "expected non-null callback"
 * @param context         passed on to the callback as it is; may be NULL
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_profile_msms_v2(uint64_t handle, const int64_t* precursors,
                                                      uint32_t num_precursors,
                                                      kova_zorel_profile_callback_v2 callback, void* context);

/**
 * Reads the MS/MS line spectra of all precursors that were selected in one MS1 frame.
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of the MS1 frame, the "Parent" of the precursors. A frame in which none was selected, or that does
 *                  not exist, is no failure.
 * @param callback  called once per precursor that has scans; must not be NULL, which is not checked
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_msms_for_frame(uint64_t handle, int64_t frame_id,
                                                     kova_zorel_msms_callback callback);

/**
 * Reads the MS/MS line spectra of all precursors that were selected in one MS1 frame, with a context for the callback.
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of the MS1 frame, as for kova_read_zorel_msms_for_frame()
 * @param callback  called once per precursor that has scans; NULL fails with "expected non-null callback"
 * @param context   passed on to the callback as it is; may be NULL
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_msms_for_frame_v2(uint64_t handle, int64_t frame_id,
                                                        kova_zorel_msms_callback_v2 callback, void* context);

/**
 * Reads the MS/MS profiles of all precursors that were selected in one MS1 frame.
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of the MS1 frame, as for kova_read_zorel_msms_for_frame()
 * @param callback  called once per precursor that has scans; must not be NULL, which is not checked
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_profile_msms_for_frame(uint64_t handle, int64_t frame_id,
                                                             kova_zorel_profile_callback callback);

/**
 * Reads the MS/MS profiles of all precursors that were selected in one MS1 frame, with a context for the callback.
 *
 * @param handle    handle of an open analysis
 * @param frame_id  "Id" of the MS1 frame, as for kova_read_zorel_msms_for_frame()
 * @param callback  called once per precursor that has scans; NULL fails with "expected non-null callback"
 * @param context   passed on to the callback as it is; may be NULL
 * @return 1 on success, also when there was nothing to read; 0 on failure
 */
KOVADATA_API uint32_t kova_read_zorel_profile_msms_for_frame_v2(uint64_t handle, int64_t frame_id,
                                                                kova_zorel_profile_callback_v2 callback,
                                                                void* context);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
