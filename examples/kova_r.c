/* What R needs between itself and the library: handles as external pointers, words beyond its integers as numbers.
 *     PKG_CPPFLAGS=$(pkg-config --cflags kovadata) PKG_LIBS=$(pkg-config --libs kovadata) R CMD SHLIB kova_r.c */
#include <R.h>
#include <Rinternals.h>
#include <kovadata/kova.h>
#include <stdio.h>
#include <string.h>

static uint64_t handle_of(SEXP analysis) { return (uint64_t)(uintptr_t)R_ExternalPtrAddr(analysis); }

static void check(int good) {
    char text[1024];
    if (good) return;
    kova_get_last_error_string(text, sizeof text);
    Rf_error("%s", text);
}

static void close_analysis(SEXP analysis) { kova_close(handle_of(analysis)); }

SEXP r_open(SEXP directory) {
    const uint64_t handle = kova_open(Rf_translateCharUTF8(STRING_ELT(directory, 0)), 0);
    check(handle != 0);
    SEXP analysis = PROTECT(R_MakeExternalPtr((void*)(uintptr_t)handle, R_NilValue, R_NilValue));
    R_RegisterCFinalizerEx(analysis, close_analysis, TRUE);
    return UNPROTECT(1), analysis;
}

/* The words of kova_read_scans_v2() as numbers. */
SEXP r_scans(SEXP analysis, SEXP frame, SEXP scans) {
    const int64_t id = (int64_t)Rf_asReal(frame);
    const uint32_t end = (uint32_t)Rf_asInteger(scans);
    const uint32_t size = kova_read_scans_v2(handle_of(analysis), id, 0, end, NULL, 0);
    uint32_t* words = (uint32_t*)R_alloc(size, 1);
    check(size != 0 && kova_read_scans_v2(handle_of(analysis), id, 0, end, words, size) == size);
    SEXP numbers = Rf_allocVector(REALSXP, size / 4);
    for (uint32_t i = 0; i < size / 4; ++i) REAL(numbers)[i] = words[i];
    return numbers;
}

/* m/z of an index, or 1/K0 of a scan. */
SEXP r_convert(SEXP analysis, SEXP frame, SEXP what, SEXP value) {
    const int of_index = strcmp(CHAR(STRING_ELT(what, 0)), "index") == 0;
    double number = Rf_asReal(value);
    check((of_index ? kova_index_to_mz : kova_scannum_to_oneoverk0)(handle_of(analysis), (int64_t)Rf_asReal(frame),
                                                                    &number, &number, 1) != 0);
    return Rf_ScalarReal(number);
}

/* Prints rather than makes R objects: running out of memory in R would jump out of the library. */
static void print_spectrum(int64_t precursor, uint32_t count, const double* mz, const float* intensity, void* context) {
    uint32_t best = 0;
    for (uint32_t i = 1; i < count; ++i) best = intensity[i] > intensity[best] ? i : best;
    if (count > 0) printf("precursor %lld: %u peaks, m/z %.4f\n", (long long)precursor, count, mz[best]);
}

SEXP r_print_msms(SEXP analysis, SEXP frame) {
    check(kova_read_zorel_msms_for_frame_v2(handle_of(analysis), (int64_t)Rf_asReal(frame), print_spectrum, NULL) != 0);
    return fflush(stdout), R_NilValue;
}
