"""Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it.

    python3 plain_ctypes.py run.d 1 900        (frame 1 of 900 scans, see `kova frames run.d`)
"""
import ctypes
import sys
from ctypes import POINTER, c_char_p, c_double, c_float, c_int64, c_uint32, c_uint64, c_void_p

SPECTRUM = ctypes.CFUNCTYPE(None, c_int64, c_uint32, POINTER(c_double), POINTER(c_float), c_void_p)
kova = ctypes.CDLL("libkovadata.so.0")
kova.kova_open.restype, kova.kova_open.argtypes = c_uint64, [c_char_p, c_uint32]
kova.kova_close.restype, kova.kova_close.argtypes = None, [c_uint64]
kova.kova_get_last_error_string.argtypes = [c_char_p, c_uint32]
kova.kova_read_scans_v2.restype = c_uint32
kova.kova_read_scans_v2.argtypes = [c_uint64, c_int64, c_uint32, c_uint32, c_void_p, c_uint32]
for convert in (kova.kova_index_to_mz, kova.kova_scannum_to_oneoverk0):
    convert.argtypes = [c_uint64, c_int64, POINTER(c_double), POINTER(c_double), c_uint32]
kova.kova_read_zorel_msms_for_frame_v2.argtypes = [c_uint64, c_int64, SPECTRUM, c_void_p]


def check(result: int) -> int:
    if result == 0:
        text = ctypes.create_string_buffer(kova.kova_get_last_error_string(None, 0))
        kova.kova_get_last_error_string(text, len(text))
        sys.exit(text.value.decode())
    return result


def converted(function, analysis: int, frame: int, value: float) -> float:
    result = c_double()
    check(function(analysis, frame, c_double(value), result, 1))
    return result.value


def print_spectrum(precursor, count, mz, intensity, _context):
    if count > 0:
        print(f"precursor {precursor}: {count} peaks, m/z {mz[max(range(count), key=lambda i: intensity[i])]:.4f}")


if len(sys.argv) != 4:
    sys.exit(__doc__)
run, frame, scans = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
analysis = check(kova.kova_open(run.encode(), 0))
words = (c_uint32 * (check(kova.kova_read_scans_v2(analysis, frame, 0, scans, None, 0)) // 4))()
check(kova.kova_read_scans_v2(analysis, frame, 0, scans, words, ctypes.sizeof(words)))
highest, index, scan, begin = 0, 0, 0, scans
for number, count in enumerate(words[:scans]):  # counts of the scans, then indices and intensities of each
    for i in range(begin, begin + count):
        if words[i + count] > highest:
            highest, index, scan = words[i + count], words[i], number
    begin += 2 * count
print(f"intensity {highest}, m/z {converted(kova.kova_index_to_mz, analysis, frame, index):.4f}")
print(f"1/K0 {converted(kova.kova_scannum_to_oneoverk0, analysis, frame, scan):.4f}")
check(kova.kova_read_zorel_msms_for_frame_v2(analysis, frame, SPECTRUM(print_spectrum), None))
kova.kova_close(analysis)
