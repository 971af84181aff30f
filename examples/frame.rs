// Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it.
//
//     rustc --edition 2021 -O frame.rs
//     ./frame run.d 1 900        (frame 1 of 900 scans, see `kova frames run.d`)
use std::ffi::{c_char, c_void, CStr, CString};

type Spectrum = extern "C" fn(i64, u32, *const f64, *const f32, *mut c_void);
#[link(name = "kovadata")]
extern "C" {
    fn kova_open(directory: *const c_char, recalibrated: u32) -> u64;
    fn kova_close(handle: u64);
    fn kova_get_last_error_string(buffer: *mut c_char, size: u32) -> u32;
    fn kova_read_scans_v2(handle: u64, frame: i64, begin: u32, end: u32, buffer: *mut u32, size: u32) -> u32;
    fn kova_index_to_mz(handle: u64, frame: i64, index: *const f64, mz: *mut f64, count: u32) -> u32;
    fn kova_scannum_to_oneoverk0(handle: u64, frame: i64, scan: *const f64, mobility: *mut f64, count: u32) -> u32;
    fn kova_read_zorel_msms_for_frame_v2(handle: u64, frame: i64, spectrum: Spectrum, context: *mut c_void) -> u32;
}

fn last_error() -> String {
    let mut text = [0; 1024];
    unsafe { kova_get_last_error_string(text.as_mut_ptr(), 1024); CStr::from_ptr(text.as_ptr()) }.to_string_lossy().into()
}
fn check<T: Default + PartialEq>(result: T) -> Result<T, String> {
    if result != T::default() { Ok(result) } else { Err(last_error()) }
}

extern "C" fn print_spectrum(precursor: i64, count: u32, mz: *const f64, intensity: *const f32, _: *mut c_void) {
    if count > 0 {
        let intensity = unsafe { std::slice::from_raw_parts(intensity, count as usize) };
        let best = (0..intensity.len()).rev().max_by(|&a, &b| intensity[a].total_cmp(&intensity[b])).unwrap();
        println!("precursor {precursor}: {count} peaks, m/z {:.4}", unsafe { *mz.add(best) });
    }
}

fn main() -> Result<(), String> {
    let arguments: Vec<String> = std::env::args().collect();
    let [_, run, frame, scans] = &arguments[..] else { return Err("frame RUN FRAME SCANS".into()) };
    let (frame, scans): (i64, u32) = (frame.parse().unwrap_or(0), scans.parse().unwrap_or(0));
    let run = CString::new(run.as_str()).expect("no zero in a path");
    let analysis = check(unsafe { kova_open(run.as_ptr(), 0) })?;
    let size = check(unsafe { kova_read_scans_v2(analysis, frame, 0, scans, std::ptr::null_mut(), 0) })?;
    let mut words = vec![0u32; size as usize / 4];
    check(unsafe { kova_read_scans_v2(analysis, frame, 0, scans, words.as_mut_ptr(), size) })?;
    let (mut highest, mut index, mut scan, mut mz, mut mobility) = (0, 0.0, 0.0, 0.0, 0.0);
    let (counts, mut peaks) = words.split_at(scans as usize); // then indices and intensities of each scan
    for (number, &count) in counts.iter().enumerate() {
        let (indices, rest) = peaks.split_at(count as usize);
        for (&i, &value) in indices.iter().zip(rest) {
            if value > highest { (highest, index, scan) = (value, f64::from(i), number as f64) }
        }
        peaks = &rest[count as usize..];
    }
    check(unsafe { kova_index_to_mz(analysis, frame, &index, &mut mz, 1) })?;
    println!("intensity {highest}, m/z {mz:.4}");
    check(unsafe { kova_scannum_to_oneoverk0(analysis, frame, &scan, &mut mobility, 1) })?;
    println!("1/K0 {mobility:.4}");
    check(unsafe { kova_read_zorel_msms_for_frame_v2(analysis, frame, print_spectrum, std::ptr::null_mut()) })?;
    Ok(unsafe { kova_close(analysis) })
}
