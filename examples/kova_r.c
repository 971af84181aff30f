/* What R needs between itself and the library: handles as external pointers, words beyond its integers as numbers.
 *     PKG_CPPFLAGS=$(pkg-config --cflags kovarun) PKG_LIBS=$(pkg-config --libs kovarun) R CMD SHLIB kova_r.c */
#include <R.h>
#include <Rinternals.h>
#include <kovadata/kova.h>
#include <kovadata/kvr.h>
#include <kovadata/kvs.h>
#include <stdio.h>
#include <string.h>

typedef uint32_t (*last_error)(char*, uint32_t); /* each family of functions keeps the text of its own last failure */

static kvr_run* run_of(SEXP run) { return (kvr_run*)R_ExternalPtrAddr(run); }

static void check(int good, last_error get) {
    char text[1024];
    if (good) return;
    get(text, sizeof text);
    Rf_error("%s", text);
}

static void close_run(SEXP run) { kvr_close(run_of(run)); }

SEXP r_open(SEXP directory) {
    kvr_run* const opened = kvr_open(Rf_translateCharUTF8(STRING_ELT(directory, 0)), NULL);
    check(opened != NULL, kvr_get_last_error_string);
    SEXP run = PROTECT(R_MakeExternalPtr(opened, R_NilValue, R_NilValue));
    R_RegisterCFinalizerEx(run, close_run, TRUE);
    return UNPROTECT(1), run;
}

/* Number of scans of a frame; NA for a spectrum without mobility. */
SEXP r_count_scans(SEXP run, SEXP frame) {
    kvr_info info = {0};
    uint32_t scans = 0;
    info.size = sizeof info;
    check(kvr_get_info(run_of(run), &info) != 0, kvr_get_last_error_string);
    if (!info.has_mobility) return Rf_ScalarInteger(NA_INTEGER);
    check(kvr_count_scans(run_of(run), (int64_t)Rf_asReal(frame), &scans) != 0, kvr_get_last_error_string);
    return Rf_ScalarInteger((int)scans);
}

/* The words of kova_read_scans_v2() as numbers. */
SEXP r_scans(SEXP run, SEXP frame, SEXP scans) {
    const uint64_t analysis = kvr_lend_handle(run_of(run));
    const int64_t id = (int64_t)Rf_asReal(frame);
    const uint32_t end = (uint32_t)Rf_asInteger(scans);
    const uint32_t size = kova_read_scans_v2(analysis, id, 0, end, NULL, 0);
    uint32_t* words = (uint32_t*)R_alloc(size, 1);
    check(size != 0 && kova_read_scans_v2(analysis, id, 0, end, words, size) == size, kova_get_last_error_string);
    SEXP numbers = Rf_allocVector(REALSXP, size / 4);
    for (uint32_t i = 0; i < size / 4; ++i) REAL(numbers)[i] = words[i];
    return numbers;
}

/* The lines of a spectrum: m/z, then intensities. */
SEXP r_lines(SEXP run, SEXP spectrum) {
    const uint64_t analysis = kvr_lend_handle(run_of(run));
    const int64_t id = (int64_t)Rf_asReal(spectrum);
    const uint32_t count = kvs_read_line_spectrum(analysis, id, NULL, NULL, 0);
    float* intensity = (float*)R_alloc(count, sizeof *intensity);
    SEXP lines = PROTECT(Rf_allocMatrix(REALSXP, (int)count, 2));
    double* mz = REAL(lines);
    check(count != 0 && kvs_read_line_spectrum(analysis, id, mz, intensity, count) == count &&
              kvs_index_to_mz(analysis, id, mz, mz, count) != 0,
          kvs_get_last_error_string);
    for (uint32_t i = 0; i < count; ++i) mz[count + i] = intensity[i];
    return UNPROTECT(1), lines;
}

/* m/z of an index, or 1/K0 of a scan: NA without a mobility calibration. */
SEXP r_convert(SEXP run, SEXP frame, SEXP what, SEXP value) {
    const int of_index = strcmp(CHAR(STRING_ELT(what, 0)), "index") == 0;
    double number = Rf_asReal(value);
    const int good = (of_index ? kova_index_to_mz : kova_scannum_to_oneoverk0)(
                         kvr_lend_handle(run_of(run)), (int64_t)Rf_asReal(frame), &number, &number, 1) != 0;
    check(good || !of_index, kova_get_last_error_string);
    return Rf_ScalarReal(good ? number : NA_REAL);
}

/* Prints rather than makes R objects: running out of memory in R would jump out of the library. */
static void print_spectrum(int64_t precursor, uint32_t count, const double* mz, const float* intensity, void* context) {
    uint32_t best = 0;
    for (uint32_t i = 1; i < count; ++i) best = intensity[i] > intensity[best] ? i : best;
    if (count > 0) printf("precursor %lld: %u peaks, m/z %.4f\n", (long long)precursor, count, mz[best]);
}

SEXP r_print_msms(SEXP run, SEXP frame) {
    char text[1024];
    if (!kova_read_zorel_msms_for_frame_v2(kvr_lend_handle(run_of(run)), (int64_t)Rf_asReal(frame), print_spectrum,
                                           NULL)) {
        kova_get_last_error_string(text, sizeof text);
        printf("no MS/MS spectra: %s\n", text);
    }
    return fflush(stdout), R_NilValue;
}
