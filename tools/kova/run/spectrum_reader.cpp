#include "kova/run/spectrum_reader.h"

#include "kova/failure.h"

// A query for one spectrum at a time. With one thread the library starts none, which for a single spectrum
// would cost more than reading it.
namespace kova_tool {

ArrowStream& SpectrumReader::read(std::int64_t spectrum, kvr_spectrum_kind kind) {
    kvr_query query = {};
    query.size = sizeof query;
    query.frames = &spectrum;
    query.num_frames = 1;
    kvr_control control = {};
    control.size = sizeof control;
    control.threads = 1;
    stream.emplace(
        [&](ArrowArrayStream* filled) { return kvr_spectra(run.get(), &query, kind, &control, filled); });
    if (!stream->next() || stream->rows() != 1) {
        throw Failure("spectrum " + std::to_string(spectrum) + " was not returned");
    }
    return *stream;
}

LineColumns SpectrumReader::readLines(std::int64_t spectrum) {
    const ArrowStream& read = this->read(spectrum, KVR_SPECTRUM_LINES);
    LineColumns lines{
        read.column("position").list<double>(0), {}, read.column("intensity").list<float>(0), {}};
    if (const ArrowColumn mz = read.column("mz"); !mz.isNull(0)) {
        lines.mz = mz.list<double>(0);
    }
    if (const ArrowColumn widths = read.column("width"); !widths.isNull(0)) {
        lines.widths = widths.list<float>(0);
    }
    return lines;
}

std::span<const std::uint32_t> SpectrumReader::readProfile(std::int64_t spectrum) {
    return read(spectrum, KVR_SPECTRUM_PROFILE).column("intensity").list<std::uint32_t>(0);
}

}  // namespace kova_tool
