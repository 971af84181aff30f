// Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it.
//
//     npm install koffi          (Node.js has no foreign-function calls of its own)
//     node frame.mjs run.d 1 900        (frame 1 of 900 scans, see `kova frames run.d`)
import koffi from 'koffi';

const library = koffi.load('libkovadata.so.0');
const Spectrum = koffi.proto('void Spectrum(int64_t, uint32_t, double* mz, float* intensities, void* context)');
const kova = {
  open: library.func('uint64_t kova_open(const char*, uint32_t)'),
  close: library.func('void kova_close(uint64_t)'),
  lastError: library.func('uint32_t kova_get_last_error_string(uint8_t*, uint32_t)'),
  readScans: library.func('uint32_t kova_read_scans_v2(uint64_t, int64_t, uint32_t, uint32_t, uint32_t*, uint32_t)'),
  indexToMz: library.func('uint32_t kova_index_to_mz(uint64_t, int64_t, double*, double*, uint32_t)'),
  scanToMobility: library.func('uint32_t kova_scannum_to_oneoverk0(uint64_t, int64_t, double*, double*, uint32_t)'),
  readMsMs: library.func('uint32_t kova_read_zorel_msms_for_frame_v2(uint64_t, int64_t, Spectrum*, void*)'),
};

function check(result) {
  if (!result) {
    const text = Buffer.alloc(kova.lastError(null, 0));
    kova.lastError(text, text.length);
    console.error(text.toString('utf8', 0, text.length - 1));
    process.exit(1);
  }
  return result;
}

function converted(convert, analysis, frame, value) {
  const result = Float64Array.of(value);  // input and output may be the same array
  check(convert(analysis, frame, result, result, 1));
  return result[0].toFixed(4);
}

function printSpectrum(precursor, count, mz, intensities) {
  if (count === 0) return;
  const heights = koffi.decode(intensities, 'float', count);
  const best = heights.indexOf(heights.reduce((a, b) => Math.max(a, b)));
  console.log(`precursor ${precursor}: ${count} peaks, m/z ${koffi.decode(mz, 'double', count)[best].toFixed(4)}`);
}

if (process.argv.length !== 5) throw new Error('frame.mjs RUN FRAME SCANS');
const [run, frame, scans] = [process.argv[2], Number(process.argv[3]), Number(process.argv[4])];
const analysis = check(kova.open(run, 0));
const words = new Uint32Array(check(kova.readScans(analysis, frame, 0, scans, null, 0)) / 4);
check(kova.readScans(analysis, frame, 0, scans, words, words.byteLength));
let [highest, index, scan] = [0, 0, 0];
for (let number = 0, begin = scans; number < scans; begin += 2 * words[number++]) {
  const count = words[number];  // counts of the scans, then indices and intensities of each
  for (let i = begin; i < begin + count; ++i) {
    if (words[i + count] > highest) [highest, index, scan] = [words[i + count], words[i], number];
  }
}
console.log(`intensity ${highest}, m/z ${converted(kova.indexToMz, analysis, frame, index)}`);
console.log(`1/K0 ${converted(kova.scanToMobility, analysis, frame, scan)}`);
check(kova.readMsMs(analysis, frame, printSpectrum, null));
kova.close(analysis);
