#include "spectrum_reader.h"

#include <kovadata/kvs.h>

#include "failure.h"

namespace kova_tool {
namespace {

std::uint32_t lengthOf(const auto& values) { return static_cast<std::uint32_t>(values.size()); }

// Runs a reading call, whose result 0 means a failure as well as an empty spectrum. To tell them apart a
// failed call is made again after another failure, whose text no reading call gives.
template <class Call>
std::size_t checkedCount(const AnalysisHandle& analysis, Call call) {
    if (const std::uint32_t count = call()) {
        return count;
    }
    kvs_open(nullptr, 0);
    const std::string known = analysis.lastError();
    const std::uint32_t count = call();
    if (const std::string text = analysis.lastError(); count == 0 && text != known) {
        throw Failure(text);
    }
    return count;
}

}  // namespace

SpectrumParts spectrumParts(const MetadataDatabase& database) {
    return {database.globalNumber("HasLineSpectra") != 0,
            database.globalNumber("HasLineSpectraPeakWidth") != 0,
            database.globalNumber("HasProfileSpectra") != 0};
}

std::uint32_t SpectrumReader::callLines(std::int64_t spectrum) {
    return parts.widths
               ? kvs_read_line_spectrum_with_width(analysis.get(), spectrum, positions.data(),
                                                   intensities.data(), widths.data(), lengthOf(positions))
               : kvs_read_line_spectrum(analysis.get(), spectrum, positions.data(), intensities.data(),
                                        lengthOf(positions));
}

LineSpectrum SpectrumReader::readLines(std::int64_t spectrum) {
    for (;;) {
        const std::size_t count = checkedCount(analysis, [&] { return callLines(spectrum); });
        if (count <= positions.size()) {
            LineSpectrum lines{std::span(positions).first(count), std::span(intensities).first(count), {}};
            if (parts.widths) {
                lines.widths = std::span(widths).first(count);
            }
            return lines;
        }
        positions.resize(count);
        intensities.resize(count);
        widths.resize(parts.widths ? count : 0);
    }
}

std::span<const std::uint32_t> SpectrumReader::readProfile(std::int64_t spectrum) {
    for (;;) {
        const std::size_t count = checkedCount(analysis, [&] {
            return kvs_read_profile_spectrum(analysis.get(), spectrum, profile.data(), lengthOf(profile));
        });
        if (count <= profile.size()) {
            return std::span(profile).first(count);
        }
        profile.resize(count);
    }
}

std::size_t SpectrumReader::lineCount(std::int64_t spectrum) const {
    return checkedCount(
        analysis, [&] { return kvs_read_line_spectrum(analysis.get(), spectrum, nullptr, nullptr, 0); });
}

std::size_t SpectrumReader::profilePoints(std::int64_t spectrum) const {
    return checkedCount(analysis,
                        [&] { return kvs_read_profile_spectrum(analysis.get(), spectrum, nullptr, 0); });
}

}  // namespace kova_tool
