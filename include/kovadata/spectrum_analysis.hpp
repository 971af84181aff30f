/**
 * @file spectrum_analysis.hpp
 * Analyses without ion mobility. Part of kovadata.hpp, whose conventions hold here; usable alone.
 */
#ifndef KOVADATA_SPECTRUM_ANALYSIS_HPP
#define KOVADATA_SPECTRUM_ANALYSIS_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "array.hpp"
#include "conversions.hpp"
#include "error.hpp"
#include "handle.hpp"
#include "kvs.h"

namespace kova {

/** @addtogroup cpp_spectra
 *  @{ */

/** Line spectrum of an analysis without mobility: detected peaks, one entry of each array for each of them. */
struct LineSpectrum {
    Array<double> positions;  /**< fractional time-of-flight indices, for SpectrumAnalysis::indexToMz() */
    Array<float> intensities; /**< intensities as stored */
    Array<float> widths;      /**< widths as stored; empty when they were not asked for */
};

/**
 * An open analysis without ion mobility (`analysis.kvs`): one spectrum per row of table "Frames". Its destructor closes it.
 *
 * The library reports an empty spectrum as it reports a failure. To tell one from the other, a spectrum that seems to be empty
 * is read once more after a failure that is brought about on purpose; the thread's text of kvs_get_last_error_string() and, with
 * logging at debug level, the log show it.
 */
class SpectrumAnalysis {
public:
    /**
     * Opens an analysis without ion mobility for reading, see kvs_open().
     *
     * @param directory    path of the analysis directory, UTF-8; a std::filesystem::path is fine
     * @param calibration  the calibration to convert with
     * @throws Error  if it cannot be opened
     */
    explicit SpectrumAnalysis(const std::string& directory,
                              Calibration calibration = Calibration::acquisition)
        : opened(kvs_open(directory.c_str(), static_cast<std::uint32_t>(calibration))) {
        if (handle() == 0) {
            detail::failSpectrum();
        }
    }

    SpectrumAnalysis(const SpectrumAnalysis&) = delete;
    SpectrumAnalysis& operator=(const SpectrumAnalysis&) = delete;
    SpectrumAnalysis(SpectrumAnalysis&&) noexcept = default;
    SpectrumAnalysis& operator=(SpectrumAnalysis&&) noexcept = default;
    ~SpectrumAnalysis() = default;

    /** The handle, for calls of kvs.h; the analysis stays its owner. */
    [[nodiscard]] std::uint64_t handle() const noexcept { return opened.get(); }

    /**
     * Reads the line spectrum of a spectrum into memory of the caller, see kvs_read_line_spectrum().
     *
     * @param spectrumId   "Id" of a row of table "Frames"
     * @param positions    receives fractional time-of-flight indices, for indexToMz()
     * @param intensities  receives the intensities
     * @return number of peaks. If the smaller of the spans has less room, neither was touched.
     * @throws Error  if the spectrum cannot be read
     */
    std::size_t readLines(std::int64_t spectrumId, std::span<double> positions,
                          std::span<float> intensities) {
        const std::size_t room = (std::min)(positions.size(), intensities.size());
        return checked([&] {
            return kvs_read_line_spectrum(handle(), spectrumId, positions.data(), intensities.data(),
                                          detail::countAtMost(room));
        });
    }

    /**
     * Reads the line spectrum of a spectrum with the widths of its peaks, see kvs_read_line_spectrum_with_width().
     *
     * @param spectrumId   "Id" of a row of table "Frames"
     * @param positions    receives fractional time-of-flight indices, for indexToMz()
     * @param intensities  receives the intensities
     * @param widths       receives the widths, in the unit in which they are stored
     * @return number of peaks. If the smallest of the spans has less room, none was touched.
     * @throws Error  if the spectrum cannot be read, or the analysis has no widths
     */
    std::size_t readLines(std::int64_t spectrumId, std::span<double> positions, std::span<float> intensities,
                          std::span<float> widths) {
        const std::size_t room = (std::min)({positions.size(), intensities.size(), widths.size()});
        return checked([&] {
            return kvs_read_line_spectrum_with_width(handle(), spectrumId, positions.data(),
                                                     intensities.data(), widths.data(),
                                                     detail::countAtMost(room));
        });
    }

    /**
     * Reads the profile spectrum of a spectrum into memory of the caller, see kvs_read_profile_spectrum().
     *
     * @param spectrumId   "Id" of a row of table "Frames"
     * @param intensities  receives one intensity per time-of-flight index, from index 0
     * @return number of points. If the span has less room, it was not touched.
     * @throws Error  if the profile cannot be read
     */
    std::size_t readProfile(std::int64_t spectrumId, std::span<std::uint32_t> intensities) {
        return checked([&] {
            return kvs_read_profile_spectrum(handle(), spectrumId, intensities.data(),
                                             detail::countAtMost(intensities.size()));
        });
    }

    /**
     * Reads the line spectrum of a spectrum into arrays, which grow if they are too small.
     *
     * @param spectrumId  "Id" of a row of table "Frames"
     * @param lines       receives positions and intensities, and no widths
     * @throws Error  if the spectrum cannot be read
     */
    void readLines(std::int64_t spectrumId, LineSpectrum& lines) {
        const auto read = [&] { return readLines(spectrumId, lines.positions, lines.intensities); };
        lines.widths.prepare(0);
        readGrowing(read, lines.positions, lines.intensities);
    }

    /**
     * Reads the line spectrum of a spectrum with the widths of its peaks into arrays, which grow if they are too small.
     *
     * @param spectrumId  "Id" of a row of table "Frames"
     * @param lines       receives positions, intensities and widths
     * @throws Error  if the spectrum cannot be read, or the analysis has no widths
     */
    void readLinesWithWidths(std::int64_t spectrumId, LineSpectrum& lines) {
        const auto read = [&] {
            return readLines(spectrumId, lines.positions, lines.intensities, lines.widths);
        };
        readGrowing(read, lines.positions, lines.intensities, lines.widths);
    }

    /**
     * Reads the profile spectrum of a spectrum into an array, which grows if it is too small.
     *
     * @param spectrumId   "Id" of a row of table "Frames"
     * @param intensities  receives one intensity per time-of-flight index, from index 0
     * @throws Error  if the profile cannot be read
     */
    void readProfile(std::int64_t spectrumId, Array<std::uint32_t>& intensities) {
        readGrowing([&] { return readProfile(spectrumId, std::span(intensities)); }, intensities);
    }

    /** As readLines(spectrumId, lines), into new arrays. */
    [[nodiscard]] LineSpectrum readLines(std::int64_t spectrumId) {
        LineSpectrum lines;
        readLines(spectrumId, lines);
        return lines;
    }

    /** As readLinesWithWidths(spectrumId, lines), into new arrays. */
    [[nodiscard]] LineSpectrum readLinesWithWidths(std::int64_t spectrumId) {
        LineSpectrum lines;
        readLinesWithWidths(spectrumId, lines);
        return lines;
    }

    /** As readProfile(spectrumId, intensities), into a new array. */
    [[nodiscard]] Array<std::uint32_t> readProfile(std::int64_t spectrumId) {
        Array<std::uint32_t> intensities;
        readProfile(spectrumId, intensities);
        return intensities;
    }

    /**
     * @name Conversions
     * Between time-of-flight index and m/z in Th of one spectrum; rules and failures are those of the conversions of Analysis.
     * @{
     */
    /** See kvs_index_to_mz(). */
    void indexToMz(std::int64_t spectrumId, std::span<const double> index, std::span<double> mz) {
        detail::convert<&kvs_index_to_mz, &detail::failSpectrum>(handle(), spectrumId, index, mz);
    }
    /** See kvs_index_to_mz(). */
    [[nodiscard]] double indexToMz(std::int64_t spectrumId, double index) {
        return detail::convertOne<&kvs_index_to_mz, &detail::failSpectrum>(handle(), spectrumId, index);
    }
    /** See kvs_mz_to_index(). */
    void mzToIndex(std::int64_t spectrumId, std::span<const double> mz, std::span<double> index) {
        detail::convert<&kvs_mz_to_index, &detail::failSpectrum>(handle(), spectrumId, mz, index);
    }
    /** See kvs_mz_to_index(). */
    [[nodiscard]] double mzToIndex(std::int64_t spectrumId, double mz) {
        return detail::convertOne<&kvs_mz_to_index, &detail::failSpectrum>(handle(), spectrumId, mz);
    }
    /** @} */

private:
    // A result of 0 means that the spectrum is empty or that the call failed. Only a failure changes the last error, but
    // it may change it to what it was already: hence another failure, whose text no reading call has, and once more.
    template <class Read>
    static std::size_t checked(const Read& read) {
        if (const std::uint32_t count = read(); count != 0) {
            return count;
        }
        kvs_open(nullptr, 0);
        const std::string before = detail::textFrom(&kvs_get_last_error_string);
        const std::uint32_t count = read();
        if (count == 0 && detail::textFrom(&kvs_get_last_error_string) != before) {
            detail::failSpectrum();
        }
        return count;
    }

    template <class Read, class... Arrays>
    static void readGrowing(const Read& read, Arrays&... arrays) {
        std::size_t room = (std::min)({arrays.capacity()...});
        (arrays.prepare(room), ...);
        std::size_t count = read();
        while (count > room) {
            room = count;
            (arrays.prepare(room), ...);
            count = read();
        }
        (arrays.prepare(count), ...);
    }

    detail::Handle<&kvs_close> opened;
};

/** @} */

}  // namespace kova

#endif
