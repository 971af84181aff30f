/* The public headers are C99: this program is compiled by a C compiler, and linked with the library that has all functions. */
#include <kovadata/kova.h>
#include <kovadata/kvr.h>
#include <kovadata/kvs.h>

#include <stdio.h>
#include <string.h>

static int check(int condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "failed: %s\n", what);
    }
    return condition ? 0 : 1;
}

int main(void) {
    char text[128];
    int failures = 0;
    uint32_t (*const readers[])(uint64_t, int64_t, uint32_t, uint32_t, void*, uint32_t) = {
        kova_read_scans_v2, kova_read_scans_internal};
    uint32_t (*const query)(uint64_t) = kova_has_recalibrated_state;

    failures += check(readers[0] != readers[1] && query != 0, "functions are there");
    failures += check(kova_get_last_error_string(text, sizeof text) == 11, "size of \"<no error>\"");
    failures += check(kova_open("no/such/directory", 0) == 0, "opening nothing fails");
    failures += check(kova_get_last_error_string(text, sizeof text) == strlen(text) + 1, "size of the text");
    failures +=
        check(strcmp(text, "Specified analysis directory does not exist.") == 0, "text of the failure");
    failures += check(kvr_open("no/such/directory", NULL) == NULL, "opening no run fails");
    failures +=
        check(kvr_get_last_error_string(text, sizeof text) == strlen(text) + 1, "size of the run's text");
    failures += check(kvr_peaks(NULL, NULL, 0, NULL, NULL) == 0, "there is no run");
    kvr_close(NULL);
    kova_set_num_threads(1);
    kova_close(0);
    return failures;
}
