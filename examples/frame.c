/* Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it, or the strongest line
 * of a spectrum without ion mobility.
 *
 *     cc -std=c99 frame.c -o frame $(pkg-config --cflags --libs kovarun)
 *     ./frame run.d 1        (frame 1, see `kova frames run.d`) */
#include <kovadata/kova.h>
#include <kovadata/kvr.h>
#include <kovadata/kvs.h>
#include <stdio.h>
#include <stdlib.h>

/* Each family of functions keeps the text of its own last failure. */
static void check(int good, uint32_t (*last_error)(char*, uint32_t)) {
    char text[1024];
    if (good) return;
    last_error(text, sizeof text);
    fprintf(stderr, "%s\n", text);
    exit(1);
}

static void print_spectrum(int64_t precursor, uint32_t count, const double* mz, const float* intensity, void* context) {
    uint32_t best = 0;
    for (uint32_t i = 1; i < count; ++i) best = intensity[i] > intensity[best] ? i : best;
    if (count > 0) printf("precursor %lld: %u peaks, m/z %.4f\n", (long long)precursor, count, mz[best]);
    (void)context;
}

static void print_frame(uint64_t analysis, int64_t frame, uint32_t scans) {
    const uint32_t size = kova_read_scans_v2(analysis, frame, 0, scans, NULL, 0); /* how much will it be? */
    uint32_t* words = malloc(size);
    check(size != 0 && words != NULL && kova_read_scans_v2(analysis, frame, 0, scans, words, size) == size,
          kova_get_last_error_string);
    double index = 0, scan = 0, mobility = 0;
    uint32_t highest = 0;
    for (uint32_t s = 0, *peaks = words + scans; s < scans; peaks += 2 * words[s++]) /* counts, then peaks */
        for (uint32_t i = 0; i < words[s]; ++i)
            if (peaks[words[s] + i] > highest) highest = peaks[words[s] + i], index = peaks[i], scan = s;
    free(words);
    check(kova_index_to_mz(analysis, frame, &index, &index, 1) != 0, kova_get_last_error_string);
    printf("intensity %u, m/z %.4f\n", highest, index);
    if (kova_scannum_to_oneoverk0(analysis, frame, &scan, &mobility, 1)) /* 0 without mobility calibration */
        printf("1/K0 %.4f\n", mobility);
    else
        printf("scan %.0f\n", scan);
    char text[1024];
    if (kova_read_zorel_msms_for_frame_v2(analysis, frame, print_spectrum, NULL)) return;
    kova_get_last_error_string(text, sizeof text);
    printf("no MS/MS spectra: %s\n", text);
}

static void print_lines(uint64_t analysis, int64_t spectrum) {
    const uint32_t count = kvs_read_line_spectrum(analysis, spectrum, NULL, NULL, 0);
    double* position = malloc(count * sizeof *position);
    float* intensity = malloc(count * sizeof *intensity);
    check(count != 0 && position != NULL && intensity != NULL &&
              kvs_read_line_spectrum(analysis, spectrum, position, intensity, count) == count &&
              kvs_index_to_mz(analysis, spectrum, position, position, count),
          kvs_get_last_error_string);
    uint32_t best = 0;
    for (uint32_t i = 1; i < count; ++i) best = intensity[i] > intensity[best] ? i : best;
    printf("intensity %.0f, m/z %.4f\n", intensity[best], position[best]);
    free(intensity);
    free(position);
}

int main(int argc, char** argv) {
    if (argc != 3) return fprintf(stderr, "frame RUN FRAME\n"), 2;
    const int64_t frame = atoll(argv[2]);
    kvr_run* run = kvr_open(argv[1], NULL);
    kvr_info info = {0};
    info.size = sizeof info;
    uint32_t scans = 0;
    check(run != NULL && kvr_get_info(run, &info), kvr_get_last_error_string);
    check(!info.has_mobility || kvr_count_scans(run, frame, &scans), kvr_get_last_error_string);
    const uint64_t analysis = kvr_lend_handle(run); /* for kova.h or for kvs.h */
    check(analysis != 0, kvr_get_last_error_string);
    if (info.has_mobility)
        print_frame(analysis, frame, scans);
    else
        print_lines(analysis, frame);
    kvr_close(run);
    return 0;
}
