/* Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it.
 *
 *     cc -std=c99 frame.c -o frame $(pkg-config --cflags --libs kovadata)
 *     ./frame run.d 1 900        (frame 1 of 900 scans, see `kova frames run.d`) */
#include <kovadata/kova.h>
#include <stdio.h>
#include <stdlib.h>

static void check(int good) {
    char text[1024];
    if (good) return;
    kova_get_last_error_string(text, sizeof text);
    fprintf(stderr, "%s\n", text);
    exit(1);
}

static void print_spectrum(int64_t precursor, uint32_t count, const double* mz, const float* intensity, void* context) {
    uint32_t best = 0;
    for (uint32_t i = 1; i < count; ++i) best = intensity[i] > intensity[best] ? i : best;
    if (count > 0) printf("precursor %lld: %u peaks, m/z %.4f\n", (long long)precursor, count, mz[best]);
    (void)context;
}

int main(int argc, char** argv) {
    if (argc != 4) return fprintf(stderr, "frame RUN FRAME SCANS\n"), 2;
    const int64_t frame = atoll(argv[2]);
    const uint32_t scans = (uint32_t)strtoul(argv[3], NULL, 10);
    const uint64_t analysis = kova_open(argv[1], 0);
    check(analysis != 0);
    const uint32_t size = kova_read_scans_v2(analysis, frame, 0, scans, NULL, 0); /* how much will it be? */
    uint32_t* words = malloc(size);
    check(size != 0 && words != NULL && kova_read_scans_v2(analysis, frame, 0, scans, words, size) == size);
    double index = 0, scan = 0, mz = 0, mobility = 0;
    uint32_t highest = 0;
    for (uint32_t s = 0, *peaks = words + scans; s < scans; peaks += 2 * words[s++]) /* counts, then peaks */
        for (uint32_t i = 0; i < words[s]; ++i)
            if (peaks[words[s] + i] > highest) highest = peaks[words[s] + i], index = peaks[i], scan = s;
    check(kova_index_to_mz(analysis, frame, &index, &mz, 1) != 0);
    printf("intensity %u, m/z %.4f\n", highest, mz);
    check(kova_scannum_to_oneoverk0(analysis, frame, &scan, &mobility, 1) != 0);
    printf("1/K0 %.4f\n", mobility);
    free(words);
    check(kova_read_zorel_msms_for_frame_v2(analysis, frame, print_spectrum, NULL) != 0);
    kova_close(analysis);
    return 0;
}
