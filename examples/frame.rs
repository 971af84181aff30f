// Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it, or the strongest line
// of a spectrum without ion mobility.
//
//     rustc --edition 2021 -O frame.rs
//     ./frame run.d 1        (frame 1, see `kova frames run.d`)
use std::ffi::{c_char, c_void, CStr, CString};
use std::ptr::null_mut;

type Spectrum = extern "C" fn(i64, u32, *const f64, *const f32, *mut c_void);
type LastError = unsafe extern "C" fn(*mut c_char, u32) -> u32;
#[link(name = "kovarun")] // its functions and those of libkovadata.so
extern "C" {
    fn kvr_open(directory: *const c_char, options: *const c_void) -> *mut c_void;
    fn kvr_close(run: *mut c_void);
    fn kvr_get_last_error_string(buffer: *mut c_char, size: u32) -> u32;
    fn kvr_get_info(run: *mut c_void, info: *mut u32) -> u32;
    fn kvr_lend_handle(run: *mut c_void) -> u64;
    fn kvr_count_scans(run: *mut c_void, frame: i64, scans: *mut u32) -> u32;
    fn kova_get_last_error_string(buffer: *mut c_char, size: u32) -> u32;
    fn kova_read_scans_v2(handle: u64, frame: i64, begin: u32, end: u32, buffer: *mut u32, size: u32) -> u32;
    fn kova_index_to_mz(handle: u64, frame: i64, index: *const f64, mz: *mut f64, count: u32) -> u32;
    fn kova_scannum_to_oneoverk0(handle: u64, frame: i64, scan: *const f64, mobility: *mut f64, count: u32) -> u32;
    fn kova_read_zorel_msms_for_frame_v2(handle: u64, frame: i64, spectrum: Spectrum, context: *mut c_void) -> u32;
    fn kvs_get_last_error_string(buffer: *mut c_char, size: u32) -> u32;
    fn kvs_read_line_spectrum(handle: u64, frame: i64, positions: *mut f64, intensities: *mut f32, count: u32) -> u32;
    fn kvs_index_to_mz(handle: u64, frame: i64, index: *const f64, mz: *mut f64, count: u32) -> u32;
}

// Each family of functions keeps the text of its own last failure.
fn last_error(get: LastError) -> String {
    let mut text = [0; 1024];
    unsafe { get(text.as_mut_ptr(), 1024); CStr::from_ptr(text.as_ptr()) }.to_string_lossy().into()
}
fn check(result: u32, get: LastError) -> Result<u32, String> {
    if result != 0 { Ok(result) } else { Err(last_error(get)) }
}

extern "C" fn print_spectrum(precursor: i64, count: u32, mz: *const f64, intensity: *const f32, _: *mut c_void) {
    if count > 0 {
        let intensity = unsafe { std::slice::from_raw_parts(intensity, count as usize) };
        println!("precursor {precursor}: {count} peaks, m/z {:.4}", unsafe { *mz.add(largest(intensity)) });
    }
}
fn largest(values: &[f32]) -> usize {
    (0..values.len()).rev().max_by(|&a, &b| values[a].total_cmp(&values[b])).unwrap()
}

fn print_frame(analysis: u64, frame: i64, scans: u32) -> Result<(), String> {
    let text = kova_get_last_error_string;
    let size = check(unsafe { kova_read_scans_v2(analysis, frame, 0, scans, null_mut(), 0) }, text)?;
    let mut words = vec![0u32; size as usize / 4];
    check(unsafe { kova_read_scans_v2(analysis, frame, 0, scans, words.as_mut_ptr(), size) }, text)?;
    let (mut highest, mut index, mut scan, mut mz, mut mobility) = (0, 0.0, 0.0, 0.0, 0.0);
    let (counts, mut peaks) = words.split_at(scans as usize); // then indices and intensities of each scan
    for (number, &count) in counts.iter().enumerate() {
        let (indices, rest) = peaks.split_at(count as usize);
        for (&i, &value) in indices.iter().zip(rest) {
            if value > highest { (highest, index, scan) = (value, f64::from(i), number as f64) }
        }
        peaks = &rest[count as usize..];
    }
    check(unsafe { kova_index_to_mz(analysis, frame, &index, &mut mz, 1) }, text)?;
    println!("intensity {highest}, m/z {mz:.4}");
    match unsafe { kova_scannum_to_oneoverk0(analysis, frame, &scan, &mut mobility, 1) } {
        0 => println!("scan {scan}"), // without mobility calibration
        _ => println!("1/K0 {mobility:.4}"),
    }
    if unsafe { kova_read_zorel_msms_for_frame_v2(analysis, frame, print_spectrum, null_mut()) } == 0 {
        println!("no MS/MS spectra: {}", last_error(text));
    }
    Ok(())
}

fn print_lines(analysis: u64, frame: i64) -> Result<(), String> {
    let text = kvs_get_last_error_string;
    let count = check(unsafe { kvs_read_line_spectrum(analysis, frame, null_mut(), null_mut(), 0) }, text)?;
    let (mut position, mut intensity) = (vec![0.0; count as usize], vec![0f32; count as usize]);
    check(unsafe { kvs_read_line_spectrum(analysis, frame, position.as_mut_ptr(), intensity.as_mut_ptr(), count) }, text)?;
    let (best, mut mz) = (largest(&intensity), 0.0);
    check(unsafe { kvs_index_to_mz(analysis, frame, &position[best], &mut mz, 1) }, text)?;
    Ok(println!("intensity {:.0}, m/z {mz:.4}", intensity[best]))
}

fn main() -> Result<(), String> {
    let arguments: Vec<String> = std::env::args().collect();
    let [_, run, frame] = &arguments[..] else { return Err("frame RUN FRAME".into()) };
    let frame: i64 = frame.parse().unwrap_or(0);
    let path = CString::new(run.as_str()).expect("no zero in a path");
    let run = unsafe { kvr_open(path.as_ptr(), std::ptr::null()) };
    check(u32::from(!run.is_null()), kvr_get_last_error_string)?;
    let mut info = [8u32, 0]; // kvr_info as far as it is wanted: its size, and whether there is mobility
    check(unsafe { kvr_get_info(run, info.as_mut_ptr()) }, kvr_get_last_error_string)?;
    if info[1] != 0 {
        let mut scans = 0;
        check(unsafe { kvr_count_scans(run, frame, &mut scans) }, kvr_get_last_error_string)?;
        print_frame(unsafe { kvr_lend_handle(run) }, frame, scans)?;
    } else {
        print_lines(unsafe { kvr_lend_handle(run) }, frame)?;
    }
    Ok(unsafe { kvr_close(run) })
}
