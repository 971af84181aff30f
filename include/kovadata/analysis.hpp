/**
 * @file analysis.hpp
 * Analyses with ion mobility. Part of kovadata.hpp, whose conventions hold here; usable alone.
 */
#ifndef KOVADATA_ANALYSIS_HPP
#define KOVADATA_ANALYSIS_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "conversions.hpp"
#include "error.hpp"
#include "frame.hpp"
#include "handle.hpp"
#include "kova.h"
#include "msms.hpp"

namespace kova {

/** @addtogroup cpp_analysis
 *  @{ */

/**
 * An open analysis with ion mobility (`analysis.kvd`), closed by its destructor.
 *
 * Ids are those of the tables in `analysis.kvd`, which programs read with SQLite: "Frames" has the id of each frame,
 * "Precursors" those of precursors.
 */
class Analysis {
public:
    /**
     * Opens an analysis for reading, see kova_open().
     *
     * @param directory    path of the analysis directory, UTF-8; a std::filesystem::path is fine
     * @param calibration  the calibration to convert with
     * @throws Error  if it cannot be opened
     */
    explicit Analysis(const std::string& directory, Calibration calibration = Calibration::acquisition)
        : opened(kova_open(directory.c_str(), static_cast<std::uint32_t>(calibration))) {
        if (handle() == 0) {
            detail::fail();
        }
    }

    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;
    Analysis(Analysis&&) noexcept = default;
    Analysis& operator=(Analysis&&) noexcept = default;
    ~Analysis() = default;

    /** The handle, for calls of kova.h; the analysis stays its owner. */
    [[nodiscard]] std::uint64_t handle() const noexcept { return opened.get(); }

    /** Whether a re-calibrated state is in use, see kova_has_recalibrated_state(). */
    [[nodiscard]] bool isRecalibrated() const noexcept { return kova_has_recalibrated_state(handle()) != 0; }

    /**
     * Number of scans of a frame.
     *
     * Ask column "NumScans" of table "Frames" where there is one, which costs nothing. This function asks for single scans until
     * one is out of range: some dozens of short calls, and the frame is decompressed.
     *
     * @param frameId  "Id" of a row of table "Frames"
     * @return number of scans, with those without peaks
     * @throws Error  if the frame cannot be read
     */
    [[nodiscard]] std::uint32_t countScans(std::int64_t frameId) {
        std::uint64_t there = 0;   // the frame has at least this many,
        std::uint64_t beyond = 1;  // and fewer than this once the first loop has ended
        while (hasScan(frameId, beyond - 1)) {
            there = beyond;
            beyond *= 2;
        }
        while (beyond - there > 1) {
            const std::uint64_t middle = there + (beyond - there) / 2;
            (hasScan(frameId, middle - 1) ? there : beyond) = middle;
        }
        return static_cast<std::uint32_t>(there);
    }

    /**
     * Reads the peaks of a range of scans of one frame into memory of the caller, see kova_read_scans_v2().
     *
     * @param frameId      "Id" of a row of table "Frames"
     * @param scanBegin    first scan, counted from 0
     * @param scanEnd      scan after the last one; greater than @p scanBegin, at most countScans()
     * @param words        receives the result, for Scans; empty asks for the needed size only
     * @param intensities  normalised or as measured
     * @return number of words that the result needs. If that is more than @p words has, they were not touched.
     * @throws Error  if the scans cannot be read; the words were not touched then
     */
    std::size_t readScans(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                          std::span<std::uint32_t> words, Intensities intensities = Intensities::normalised) {
        constexpr std::size_t most = (std::numeric_limits<std::uint32_t>::max)() / sizeof(std::uint32_t);
        const auto size = static_cast<std::uint32_t>((std::min)(words.size(), most) * sizeof(std::uint32_t));
        const auto read =
            intensities == Intensities::normalised ? &kova_read_scans_v2 : &kova_read_scans_internal;
        const std::uint32_t needed = read(handle(), frameId, scanBegin, scanEnd, words.data(), size);
        if (needed == 0) {
            detail::fail();
        }
        return needed / sizeof(std::uint32_t);
    }

    /**
     * Reads the peaks of a range of scans of one frame into a Frame, whose memory grows if it is too small.
     *
     * Where frames are read one after another, hand over the same object: it grows to the largest and stays.
     *
     * @param frameId      "Id" of a row of table "Frames"
     * @param scanBegin    first scan, counted from 0
     * @param scanEnd      scan after the last one; greater than @p scanBegin, at most countScans()
     * @param frame        receives the scans; empty if the call throws
     * @param intensities  normalised or as measured
     * @throws Error  if the scans cannot be read
     */
    void readFrame(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd, Frame& frame,
                   Intensities intensities = Intensities::normalised) {
        Array<std::uint32_t>& memory = frame.memory;
        memory.prepare(0);
        frame.identity = frameId;
        frame.first = scanBegin;
        frame.number = scanEnd - scanBegin;
        std::size_t needed =
            readScans(frameId, scanBegin, scanEnd, {memory.data(), memory.capacity()}, intensities);
        while (needed > memory.capacity()) {
            memory.prepare(needed);
            memory.prepare(0);  // a frame that cannot be read stays empty
            needed = readScans(frameId, scanBegin, scanEnd, {memory.data(), memory.capacity()}, intensities);
        }
        memory.prepare(needed);
    }

    /**
     * Reads the peaks of a range of scans of one frame into a new Frame, with two calls: for the size, and for the peaks.
     *
     * @param frameId      "Id" of a row of table "Frames"
     * @param scanBegin    first scan, counted from 0
     * @param scanEnd      scan after the last one; greater than @p scanBegin, at most countScans()
     * @param intensities  normalised or as measured
     * @return the scans
     * @throws Error  if the scans cannot be read
     */
    [[nodiscard]] Frame readFrame(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                                  Intensities intensities = Intensities::normalised) {
        Frame frame;
        readFrame(frameId, scanBegin, scanEnd, frame, intensities);
        return frame;
    }

    /**
     * @name Conversions
     * Between the coordinates of one frame: time-of-flight index and m/z in Th, scan number and 1/K0 in V s / cm^2, scan
     * number and ramp voltage in V. Indices and scan numbers are counted from 0 and may be fractional.
     *
     * Input and output have the same size; arrays of doubles may be the same or overlap as with the C functions. Integers,
     * as the scans have them, are taken too, from memory of their own. Convert arrays rather than single values. They throw
     * Error where the C functions fail (unknown frame, missing calibration), std::invalid_argument when the sizes differ, and
     * std::length_error above 4294967295 values.
     * @{
     */
    /** See kova_index_to_mz(). */
    void indexToMz(std::int64_t frameId, std::span<const double> index, std::span<double> mz) {
        detail::convert<&kova_index_to_mz>(handle(), frameId, index, mz);
    }
    /** See kova_index_to_mz(). */
    void indexToMz(std::int64_t frameId, std::span<const std::uint32_t> index, std::span<double> mz) {
        detail::convertIntegers<&kova_index_to_mz>(handle(), frameId, index, mz);
    }
    /** See kova_index_to_mz(). */
    [[nodiscard]] double indexToMz(std::int64_t frameId, double index) {
        return detail::convertOne<&kova_index_to_mz>(handle(), frameId, index);
    }
    /** See kova_mz_to_index(). */
    void mzToIndex(std::int64_t frameId, std::span<const double> mz, std::span<double> index) {
        detail::convert<&kova_mz_to_index>(handle(), frameId, mz, index);
    }
    /** See kova_mz_to_index(). */
    [[nodiscard]] double mzToIndex(std::int64_t frameId, double mz) {
        return detail::convertOne<&kova_mz_to_index>(handle(), frameId, mz);
    }
    /** See kova_scannum_to_oneoverk0(). */
    void scanToOneOverK0(std::int64_t frameId, std::span<const double> scan, std::span<double> oneOverK0) {
        detail::convert<&kova_scannum_to_oneoverk0>(handle(), frameId, scan, oneOverK0);
    }
    /** See kova_scannum_to_oneoverk0(). */
    void scanToOneOverK0(std::int64_t frameId, std::span<const std::uint32_t> scan,
                         std::span<double> oneOverK0) {
        detail::convertIntegers<&kova_scannum_to_oneoverk0>(handle(), frameId, scan, oneOverK0);
    }
    /** See kova_scannum_to_oneoverk0(). */
    [[nodiscard]] double scanToOneOverK0(std::int64_t frameId, double scan) {
        return detail::convertOne<&kova_scannum_to_oneoverk0>(handle(), frameId, scan);
    }
    /** See kova_oneoverk0_to_scannum(). */
    void oneOverK0ToScan(std::int64_t frameId, std::span<const double> oneOverK0, std::span<double> scan) {
        detail::convert<&kova_oneoverk0_to_scannum>(handle(), frameId, oneOverK0, scan);
    }
    /** See kova_oneoverk0_to_scannum(). */
    [[nodiscard]] double oneOverK0ToScan(std::int64_t frameId, double oneOverK0) {
        return detail::convertOne<&kova_oneoverk0_to_scannum>(handle(), frameId, oneOverK0);
    }
    /** See kova_scannum_to_voltage(). */
    void scanToVoltage(std::int64_t frameId, std::span<const double> scan, std::span<double> voltage) {
        detail::convert<&kova_scannum_to_voltage>(handle(), frameId, scan, voltage);
    }
    /** See kova_scannum_to_voltage(). */
    void scanToVoltage(std::int64_t frameId, std::span<const std::uint32_t> scan, std::span<double> voltage) {
        detail::convertIntegers<&kova_scannum_to_voltage>(handle(), frameId, scan, voltage);
    }
    /** See kova_scannum_to_voltage(). */
    [[nodiscard]] double scanToVoltage(std::int64_t frameId, double scan) {
        return detail::convertOne<&kova_scannum_to_voltage>(handle(), frameId, scan);
    }
    /** See kova_voltage_to_scannum(). */
    void voltageToScan(std::int64_t frameId, std::span<const double> voltage, std::span<double> scan) {
        detail::convert<&kova_voltage_to_scannum>(handle(), frameId, voltage, scan);
    }
    /** See kova_voltage_to_scannum(). */
    [[nodiscard]] double voltageToScan(std::int64_t frameId, double voltage) {
        return detail::convertOne<&kova_voltage_to_scannum>(handle(), frameId, voltage);
    }
    /** @} */

    /**
     * @name MS/MS spectra of precursors
     * Ids of precursors may be in any order; repeated ones count once, unknown ones are ignored. Ask for many precursors in one
     * call, since each frame is read once per call.
     *
     * A function that is handed over is called on the calling thread, once per precursor that has scans, in the order in which
     * their last frames come. It may use the analysis, but not move or destroy it. If it throws, it is not called again
     * and the exception arrives at the caller when the call ends; it never passes through the library. The library cannot
     * be stopped, so what is left of the call still takes its time.
     *
     * All throw Error where the C functions fail, for instance in an analysis without precursors, and std::length_error above
     * 4294967295 ids. Spectra that a function got before that are good.
     * @{
     */
    /** Line spectra of the listed precursors, see kova_read_zorel_msms_v2(). */
    template <MsMsFunction Function>
    void readMsMs(std::span<const std::int64_t> precursors, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(
            kova_read_zorel_msms_v2(handle(), precursors.data(), detail::checkedCount(precursors.size()),
                                    &detail::onSpectrum<std::remove_reference_t<Function>>, &callback));
    }
    /** Line spectra of all precursors selected in one MS1 frame, see kova_read_zorel_msms_for_frame_v2(). */
    template <MsMsFunction Function>
    void readMsMsOfFrame(std::int64_t frameId, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(kova_read_zorel_msms_for_frame_v2(
            handle(), frameId, &detail::onSpectrum<std::remove_reference_t<Function>>, &callback));
    }
    /** Profiles of the listed precursors, see kova_read_zorel_profile_msms_v2(). */
    template <MsMsProfileFunction Function>
    void readMsMsProfiles(std::span<const std::int64_t> precursors, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(kova_read_zorel_profile_msms_v2(
            handle(), precursors.data(), detail::checkedCount(precursors.size()),
            &detail::onProfile<std::remove_reference_t<Function>>, &callback));
    }
    /** Profiles of all precursors selected in one MS1 frame, see kova_read_zorel_profile_msms_for_frame_v2(). */
    template <MsMsProfileFunction Function>
    void readMsMsProfilesOfFrame(std::int64_t frameId, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(kova_read_zorel_profile_msms_for_frame_v2(
            handle(), frameId, &detail::onProfile<std::remove_reference_t<Function>>, &callback));
    }
    /** Line spectra of the listed precursors, collected in the order in which they come. */
    [[nodiscard]] std::vector<MsMsSpectrum> readMsMs(std::span<const std::int64_t> precursors) {
        std::vector<MsMsSpectrum> spectra;
        readMsMs(precursors, CollectSpectra{spectra});
        return spectra;
    }
    /** Line spectra of all precursors selected in one MS1 frame, collected in the order in which they come. */
    [[nodiscard]] std::vector<MsMsSpectrum> readMsMsOfFrame(std::int64_t frameId) {
        std::vector<MsMsSpectrum> spectra;
        readMsMsOfFrame(frameId, CollectSpectra{spectra});
        return spectra;
    }
    /** Profiles of the listed precursors, collected in the order in which they come; about a megabyte each. */
    [[nodiscard]] std::vector<MsMsProfile> readMsMsProfiles(std::span<const std::int64_t> precursors) {
        std::vector<MsMsProfile> profiles;
        readMsMsProfiles(precursors, CollectProfiles{profiles});
        return profiles;
    }
    /** Profiles of all precursors selected in one MS1 frame, collected in the order in which they come. */
    [[nodiscard]] std::vector<MsMsProfile> readMsMsProfilesOfFrame(std::int64_t frameId) {
        std::vector<MsMsProfile> profiles;
        readMsMsProfilesOfFrame(frameId, CollectProfiles{profiles});
        return profiles;
    }
    /** @} */

private:
    // A scan whose data are damaged exists.
    bool hasScan(std::int64_t frameId, std::uint64_t scan) {
        if (scan >= (std::numeric_limits<std::uint32_t>::max)()) {
            return false;
        }
        const auto begin = static_cast<std::uint32_t>(scan);
        if (kova_read_scans_internal(handle(), frameId, begin, begin + 1, nullptr, 0) != 0) {
            return true;
        }
        const std::string text = detail::textFrom(&kova_get_last_error_string);
        if (text.ends_with("out of range.")) {
            return false;
        }
        if (!text.starts_with("CorruptScanDataError")) {
            throw Error(text);
        }
        return true;
    }

    /** @cond */
    struct CollectSpectra {
        void operator()(std::int64_t id, std::span<const double> mz,
                        std::span<const float> intensities) const {
            into.push_back({id, {mz.begin(), mz.end()}, {intensities.begin(), intensities.end()}});
        }
        std::vector<MsMsSpectrum>& into;
    };
    struct CollectProfiles {
        void operator()(std::int64_t id, std::span<const std::int32_t> intensities) const {
            into.push_back({id, {intensities.begin(), intensities.end()}});
        }
        std::vector<MsMsProfile>& into;
    };
    /** @endcond */

    detail::Handle<&kova_close> opened;
};

/** @} */

}  // namespace kova

#endif
