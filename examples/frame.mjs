// Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it, or the strongest line
// of a spectrum without ion mobility.
//
//     npm install koffi          (Node.js has no foreign-function calls of its own)
//     node frame.mjs run.d 1        (frame 1, see `kova frames run.d`)
import koffi from 'koffi';

const library = koffi.load('libkovarun.so.0');  // its functions and those of libkovadata.so
const Spectrum = koffi.proto('void Spectrum(int64_t, uint32_t, double* mz, float* intensities, void* context)');
const convert = (name) => library.func(`uint32_t ${name}(uint64_t, int64_t, double*, double*, uint32_t)`);
const kova = {
  open: library.func('void* kvr_open(const char*, void*)'),
  close: library.func('void kvr_close(void*)'),
  info: library.func('uint32_t kvr_get_info(void*, uint32_t*)'),
  handle: library.func('uint64_t kvr_lend_handle(void*)'),
  countScans: library.func('uint32_t kvr_count_scans(void*, int64_t, uint32_t*)'),
  readScans: library.func('uint32_t kova_read_scans_v2(uint64_t, int64_t, uint32_t, uint32_t, uint32_t*, uint32_t)'),
  indexToMz: convert('kova_index_to_mz'),
  scanToMobility: convert('kova_scannum_to_oneoverk0'),
  readMsMs: library.func('uint32_t kova_read_zorel_msms_for_frame_v2(uint64_t, int64_t, Spectrum*, void*)'),
  readLines: library.func('uint32_t kvs_read_line_spectrum(uint64_t, int64_t, double*, float*, uint32_t)'),
  lineToMz: convert('kvs_index_to_mz'),
};

function lastError(family) {  // each family of functions keeps the text of its own last failure
  const get = library.func(`uint32_t ${family}_get_last_error_string(uint8_t*, uint32_t)`);
  const text = Buffer.alloc(get(null, 0));
  get(text, text.length);
  return text.toString('utf8', 0, text.length - 1);
}

function check(result, family = 'kova') {
  if (!result) {
    console.error(lastError(family));
    process.exit(1);
  }
  return result;
}

function converted(convert, analysis, frame, value) {  // undefined without such a calibration
  const result = Float64Array.of(value);  // input and output may be the same array
  return convert(analysis, frame, result, result, 1) ? result[0].toFixed(4) : undefined;
}

const largest = (values) => values.indexOf(values.reduce((a, b) => Math.max(a, b)));

function printSpectrum(precursor, count, mz, intensities) {
  if (count === 0) return;
  const best = largest(koffi.decode(intensities, 'float', count));
  console.log(`precursor ${precursor}: ${count} peaks, m/z ${koffi.decode(mz, 'double', count)[best].toFixed(4)}`);
}

function printFrame(analysis, frame, scans) {
  const words = new Uint32Array(check(kova.readScans(analysis, frame, 0, scans, null, 0)) / 4);
  check(kova.readScans(analysis, frame, 0, scans, words, words.byteLength));
  let [highest, index, scan] = [0, 0, 0];
  for (let number = 0, begin = scans; number < scans; begin += 2 * words[number++]) {
    const count = words[number];  // counts of the scans, then indices and intensities of each
    for (let i = begin; i < begin + count; ++i) {
      if (words[i + count] > highest) [highest, index, scan] = [words[i + count], words[i], number];
    }
  }
  console.log(`intensity ${highest}, m/z ${check(converted(kova.indexToMz, analysis, frame, index))}`);
  const mobility = converted(kova.scanToMobility, analysis, frame, scan);
  console.log(mobility ? `1/K0 ${mobility}` : `scan ${scan}`);
  if (!kova.readMsMs(analysis, frame, printSpectrum, null)) console.log(`no MS/MS spectra: ${lastError('kova')}`);
}

function printLines(analysis, frame) {
  const count = check(kova.readLines(analysis, frame, null, null, 0), 'kvs');
  const [position, intensity] = [new Float64Array(count), new Float32Array(count)];
  check(kova.readLines(analysis, frame, position, intensity, count), 'kvs');
  const best = largest(intensity);
  const mz = check(converted(kova.lineToMz, analysis, frame, position[best]), 'kvs');
  console.log(`intensity ${intensity[best].toFixed(0)}, m/z ${mz}`);
}

if (process.argv.length !== 4) throw new Error('frame.mjs RUN FRAME');
const frame = Number(process.argv[3]);
const run = check(kova.open(process.argv[2], null), 'kvr');
const info = Uint32Array.of(8, 0);  // kvr_info as far as it is wanted: its size, and whether there is mobility
check(kova.info(run, info), 'kvr');
if (info[1]) {
  const scans = new Uint32Array(1);
  check(kova.countScans(run, frame, scans), 'kvr');
  printFrame(kova.handle(run), frame, scans[0]);
} else {
  printLines(kova.handle(run), frame);
}
kova.close(run);
