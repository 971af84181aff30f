"""Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it, or the strongest
line of a spectrum without ion mobility.

    python3 plain_ctypes.py run.d 1        (frame 1, see `kova frames run.d`)
"""
import ctypes
import sys
from ctypes import POINTER, c_char_p, c_double, c_float, c_int64, c_uint32, c_uint64, c_void_p

SPECTRUM = ctypes.CFUNCTYPE(None, c_int64, c_uint32, POINTER(c_double), POINTER(c_float), c_void_p)
kova = ctypes.CDLL("libkovarun.so.0")  # its functions and those of libkovadata.so
kova.kvr_open.restype, kova.kvr_open.argtypes = c_void_p, [c_char_p, c_void_p]
kova.kvr_close.restype, kova.kvr_close.argtypes = None, [c_void_p]
kova.kvr_get_info.argtypes = [c_void_p, c_void_p]
kova.kvr_lend_handle.restype, kova.kvr_lend_handle.argtypes = c_uint64, [c_void_p]
kova.kvr_count_scans.argtypes = [c_void_p, c_int64, POINTER(c_uint32)]
kova.kvs_read_line_spectrum.restype = c_uint32
kova.kvs_read_line_spectrum.argtypes = [c_uint64, c_int64, POINTER(c_double), POINTER(c_float), c_uint32]
kova.kova_read_scans_v2.restype = c_uint32
kova.kova_read_scans_v2.argtypes = [c_uint64, c_int64, c_uint32, c_uint32, c_void_p, c_uint32]
for convert in (kova.kova_index_to_mz, kova.kova_scannum_to_oneoverk0, kova.kvs_index_to_mz):
    convert.argtypes = [c_uint64, c_int64, POINTER(c_double), POINTER(c_double), c_uint32]
kova.kova_read_zorel_msms_for_frame_v2.argtypes = [c_uint64, c_int64, SPECTRUM, c_void_p]


def last_error(family: str) -> str:  # each family of functions keeps the text of its own last failure
    get = kova[f"{family}_get_last_error_string"]
    text = ctypes.create_string_buffer(get(None, 0))
    get(text, len(text))
    return text.value.decode()


def check(result: int, family: str = "kova") -> int:
    return result or sys.exit(last_error(family))


def converted(function, analysis: int, frame: int, value: float, family: str = "kova") -> float:
    result = c_double()
    check(function(analysis, frame, c_double(value), result, 1), family)
    return result.value


def print_spectrum(precursor, count, mz, intensity, _context):
    if count > 0:
        print(f"precursor {precursor}: {count} peaks, m/z {mz[max(range(count), key=lambda i: intensity[i])]:.4f}")


def print_frame(analysis: int, frame: int, scans: int) -> None:
    words = (c_uint32 * (check(kova.kova_read_scans_v2(analysis, frame, 0, scans, None, 0)) // 4))()
    check(kova.kova_read_scans_v2(analysis, frame, 0, scans, words, ctypes.sizeof(words)))
    highest, index, scan, begin = 0, 0, 0, scans
    for number, count in enumerate(words[:scans]):  # counts of the scans, then indices and intensities of each
        for i in range(begin, begin + count):
            if words[i + count] > highest:
                highest, index, scan = words[i + count], words[i], number
        begin += 2 * count
    print(f"intensity {highest}, m/z {converted(kova.kova_index_to_mz, analysis, frame, index):.4f}")
    mobility = c_double()
    if kova.kova_scannum_to_oneoverk0(analysis, frame, c_double(scan), mobility, 1):  # 0 without mobility calibration
        print(f"1/K0 {mobility.value:.4f}")
    else:
        print(f"scan {scan}")
    if not kova.kova_read_zorel_msms_for_frame_v2(analysis, frame, SPECTRUM(print_spectrum), None):
        print(f"no MS/MS spectra: {last_error('kova')}")


def print_lines(analysis: int, frame: int) -> None:
    count = check(kova.kvs_read_line_spectrum(analysis, frame, None, None, 0), "kvs")
    position, intensity = (c_double * count)(), (c_float * count)()
    check(kova.kvs_read_line_spectrum(analysis, frame, position, intensity, count), "kvs")
    best = max(range(count), key=lambda i: intensity[i])
    mz = converted(kova.kvs_index_to_mz, analysis, frame, position[best], "kvs")
    print(f"intensity {intensity[best]:.0f}, m/z {mz:.4f}")


if len(sys.argv) != 3:
    sys.exit(__doc__)
frame = int(sys.argv[2])
run = check(kova.kvr_open(sys.argv[1].encode(), None), "kvr")
info = (c_uint32 * 2)(8)  # kvr_info as far as it is wanted: its size, and whether there is mobility
check(kova.kvr_get_info(run, info), "kvr")
if info[1]:
    scans = c_uint32()
    check(kova.kvr_count_scans(run, frame, scans), "kvr")
    print_frame(kova.kvr_lend_handle(run), frame, scans.value)
else:
    print_lines(kova.kvr_lend_handle(run), frame)
kova.kvr_close(run)
