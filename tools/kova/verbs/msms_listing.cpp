#include "kova/verbs/msms_listing.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <span>
#include <string>

#include "kova/output/json_object.h"

// Rows for precursors, for peaks or for points of profiles. Equal intensities are ordered by m/z, so the
// strongest peaks of a spectrum are the same in every run of the program.
namespace kova_tool {
namespace {

constexpr std::array<Column, 9> kSummaryColumns = {{{"precursor", "precursor", 9},
                                                    {"frame", "frame", 6},
                                                    {"mz", "m/z", 10, 4},
                                                    {"charge", "z", 2},
                                                    {"one_over_k0", "1/K0", 7, 4},
                                                    {"time", "time", 9, 3},
                                                    {"peaks", "peaks", 6},
                                                    {"intensity_sum", "intensity", 11},
                                                    {"strongest", "strongest peaks, m/z:intensity", 0}}};
constexpr std::array<Column, 3> kPeakColumns = {
    {{"precursor", "precursor", 9}, {"mz", "m/z", 11, 5}, {"intensity", "intensity", 11}}};
constexpr std::array<Column, 4> kPointColumns = {
    {kPeakColumns[0], {"index", "index", 9}, kPeakColumns[1], kPeakColumns[2]}};

std::span<const Column> columnsOf(MsmsDetail detail) {
    switch (detail) {
        case MsmsDetail::Spectra:
            return kSummaryColumns;
        case MsmsDetail::Peaks:
            return kPeakColumns;
        default:
            return kPointColumns;
    }
}

std::string peaksText(const MsmsSpectrum& spectrum, std::size_t count, OutputFormat format) {
    std::string text;
    for (const std::size_t peak : strongestPeaks(spectrum, count)) {
        const double mz = spectrum.mz[peak];
        text += text.empty() ? "" : " ";
        text += (format == OutputFormat::Text ? NumberText(mz, 4) : NumberText(mz)).view();
        text += ':';
        text += NumberText::withoutExponent(spectrum.intensities[peak]).view();
    }
    return text;
}

}  // namespace

std::vector<std::size_t> strongestPeaks(const MsmsSpectrum& spectrum, std::size_t count) {
    std::vector<std::size_t> peaks(spectrum.mz.size());
    std::iota(peaks.begin(), peaks.end(), std::size_t{0});
    const auto end = peaks.begin() + static_cast<std::ptrdiff_t>(std::min(count, peaks.size()));
    std::partial_sort(peaks.begin(), end, peaks.end(), [&](std::size_t a, std::size_t b) {
        const double first = spectrum.intensities[a];
        const double second = spectrum.intensities[b];
        return first > second || (first == second && a < b);
    });
    peaks.erase(end, peaks.end());
    return peaks;
}

MsmsSpectrum onlyStrongest(const MsmsSpectrum& spectrum, std::size_t count) {
    MsmsSpectrum reduced{spectrum.precursor};
    reduced.bins = spectrum.bins;
    std::vector<std::size_t> peaks = strongestPeaks(spectrum, count);
    std::ranges::sort(peaks);
    for (const std::size_t peak : peaks) {
        reduced.mz.push_back(spectrum.mz[peak]);
        reduced.intensities.push_back(spectrum.intensities[peak]);
        if (!spectrum.indices.empty()) {
            reduced.indices.push_back(spectrum.indices[peak]);
        }
    }
    return reduced;
}

MsmsListing::MsmsListing(OutputFormat outputFormat, MsmsDetail listDetail, std::size_t shownPeaks)
    : format(outputFormat), detail(listDetail), strongest(shownPeaks) {
    if (format == OutputFormat::Json) {
        out << '[';
    } else {
        table.emplace(out, format, columnsOf(detail));
    }
}

bool MsmsListing::add(const MsmsSpectrum& spectrum) {
    if (!table) {
        addJson(spectrum);
    } else if (detail == MsmsDetail::Spectra) {
        addSummary(spectrum);
    } else {
        addPeaks(spectrum);
    }
    return !out.closed();
}

void MsmsListing::end() {
    if (table) {
        table->end();
    } else {
        out << (hasObjects ? "\n]\n" : "]\n");
    }
    out.flush();
}

void MsmsListing::addSummary(const MsmsSpectrum& spectrum) {
    const PrecursorRow& precursor = spectrum.precursor;
    const std::string peaks = peaksText(spectrum, strongest, format);
    const double sum = std::accumulate(spectrum.intensities.begin(), spectrum.intensities.end(), 0.0);
    table->row(std::array<Cell, kSummaryColumns.size()>{
        precursor.id, cell(precursor.parent), cell(precursor.mz), cell(precursor.charge),
        cell(precursor.oneOverK0), cell(precursor.time), std::uint64_t{spectrum.mz.size()}, sum,
        std::string_view(peaks)});
}

void MsmsListing::addPeaks(const MsmsSpectrum& spectrum) {
    const Cell id = spectrum.precursor.id;
    for (std::size_t i = 0; i < spectrum.mz.size() && !out.closed(); ++i) {
        const Cell mz = spectrum.mz[i];
        const Cell intensity = spectrum.intensities[i];
        if (detail == MsmsDetail::Peaks) {
            table->row(std::array<Cell, 3>{id, mz, intensity});
        } else {
            table->row(std::array<Cell, 4>{id, std::uint64_t{spectrum.indices[i]}, mz, intensity});
        }
    }
}

void MsmsListing::addJson(const MsmsSpectrum& spectrum) {
    const PrecursorRow& precursor = spectrum.precursor;
    out << (hasObjects ? ",\n" : "\n");
    JsonObject object(out);
    object.member("precursor", Cell(precursor.id));
    object.member("frame", cell(precursor.parent));
    object.member("mz", cell(precursor.mz));
    object.member("charge", cell(precursor.charge));
    object.member("intensity", cell(precursor.intensity));
    object.member("one_over_k0", cell(precursor.oneOverK0));
    object.member("time", cell(precursor.time));
    object.breakLine();
    object.member("bins", cell(spectrum.bins));
    object.array("peak_index", spectrum.bins ? std::optional(std::span(spectrum.indices)) : std::nullopt);
    object.array("peak_mz", spectrum.mz);
    object.array("peak_intensity", spectrum.intensities);
    object.end();
    hasObjects = true;
}

}  // namespace kova_tool
