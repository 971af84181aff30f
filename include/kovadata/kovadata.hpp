/**
 * @file kovadata.hpp
 * The functions of kova.h and kvs.h for C++20: handles that close themselves, failures as exceptions, arrays as spans.
 *
 * Everything here is inline over the C functions and adds nothing to what they do; units, layouts and causes of failures are
 * described there. The library's binary interface stays the C one, so that compiler and standard library of a program may
 * differ from those that built the library.
 *
 *     kova::Analysis analysis("run.d");
 *     kova::Frame frame = analysis.readFrame(1, 0, analysis.countScans(1));
 *     for (const kova::Scan scan : frame) {
 *         use(scan.number, scan.indices, scan.intensities);
 *     }
 *
 * Conventions, valid for everything below:
 *
 *  1. **Errors.** A failure of the library is a kova::Error with the library's text. Misuse that only C++ can express, spans
 *     of unequal sizes for one, is a std::invalid_argument, std::length_error or std::out_of_range. Memory that cannot be had
 *     is a std::bad_alloc. After any of them objects are still usable; what they were to receive is unspecified.
 *  2. **Ownership.** An analysis owns its handle and closes it. Spans that a function takes are borrowed until it returns;
 *     spans that it returns say whose memory they look at. Views of a temporary Frame do not compile.
 *  3. **Memory.** Nothing is allocated behind the caller's back: memory is taken for what a call returns, or for an object that
 *     is handed over to be filled and is too small (Frame, Array, LineSpectrum), which keeps it for the next call.
 *  4. **Threads.** One analysis must not be used by two threads at the same time; its functions are therefore not const.
 *     Different analyses may be. For parallel reading open one analysis per thread.
 *  5. **Moving.** Analyses can be moved, not copied. One that was moved from may only be destroyed or assigned to.
 *  6. **Text** is UTF-8.
 */
#ifndef KOVADATA_KOVADATA_HPP
#define KOVADATA_KOVADATA_HPP

#if __cplusplus < 202002L
#error "kovadata.hpp needs C++20; kova.h and kvs.h do for earlier standards."
#else  // so that this is all that the compiler says

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kova.h"
#include "kvs.h"

namespace kova {

/** @defgroup cpp_values Values
 *  @{ */

/** A call of the library failed; what() is the library's text, for instance "Specified analysis directory does not exist." */
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Which calibration an analysis converts with. */
enum class Calibration : std::uint32_t {
    acquisition = 0, /**< as stored during acquisition */
    recalibrated =
        1, /**< newest complete state of `calibration.sqlite`; without that file, that of the acquisition */
};

/** Whether intensities of scans are normalised, see kova_read_scans_v2(). */
enum class Intensities {
    normalised, /**< scaled for accumulation time as the schema version of the analysis implies */
    measured,   /**< as they were stored */
};

/**
 * Numbers in one piece of memory that grows when it must and is never cleared.
 *
 * Unlike a std::vector it does not write zeros to memory that a call is about to fill. A copy is a copy of the numbers.
 */
template <class T>
requires std::is_arithmetic_v<T>
class Array {
public:
    using value_type = T;

    /** An empty array, without memory. */
    Array() noexcept = default;
    Array(const Array& other) { *this = other; }
    Array(Array&& other) noexcept
        : memory(std::move(other.memory)),
          used(std::exchange(other.used, 0)),
          available(std::exchange(other.available, 0)) {}
    Array& operator=(const Array& other) {
        if (this != &other) {
            std::copy(other.begin(), other.end(), prepare(other.used).begin());
        }
        return *this;
    }
    Array& operator=(Array&& other) noexcept {
        memory = std::move(other.memory);
        used = std::exchange(other.used, 0);
        available = std::exchange(other.available, 0);
        return *this;
    }
    ~Array() = default;

    [[nodiscard]] std::size_t size() const noexcept { return used; }
    [[nodiscard]] bool empty() const noexcept { return used == 0; }
    /** Number of values that there is memory for. */
    [[nodiscard]] std::size_t capacity() const noexcept { return available; }
    [[nodiscard]] T* data() noexcept { return memory.get(); }
    [[nodiscard]] const T* data() const noexcept { return memory.get(); }
    [[nodiscard]] T* begin() noexcept { return data(); }
    [[nodiscard]] T* end() noexcept { return data() + used; }
    [[nodiscard]] const T* begin() const noexcept { return data(); }
    [[nodiscard]] const T* end() const noexcept { return data() + used; }
    /** The value at @p position, which must be below size(); not checked. */
    [[nodiscard]] T& operator[](std::size_t position) noexcept { return memory[position]; }
    [[nodiscard]] const T& operator[](std::size_t position) const noexcept { return memory[position]; }

    /**
     * Makes this an array of @p size values, all of them unspecified. Memory is taken if capacity() is less: @p size values, or
     * half as many again as there were. Spans of the array are invalid then.
     *
     * @param size  number of values
     * @return the array's values, to be written
     */
    std::span<T> prepare(std::size_t size) {
        if (size > available) {
            const std::size_t room = (std::max)(size, available + available / 2);
            used = available = 0;
            memory.reset();  // first, so that old and new memory are not there at once
            memory = std::make_unique_for_overwrite<T[]>(room);
            available = room;
        }
        used = size;
        return {data(), used};
    }

    friend bool operator==(const Array& a, const Array& b) noexcept {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    std::unique_ptr<T[]> memory;
    std::size_t used = 0;
    std::size_t available = 0;
};

/** The peaks of one mobility scan; both spans have the same size and look at the memory of the frame. */
struct Scan {
    std::uint32_t number;                       /**< counted from 0 at the beginning of the frame */
    std::span<const std::uint32_t> indices;     /**< time-of-flight indices, ascending */
    std::span<const std::uint32_t> intensities; /**< one for each index */
};

/**
 * A view of scans in the layout of kova_read_scans_v2(): a forward range of Scan.
 *
 * It looks at words that somebody else owns and is valid as long as they stay where they are and as they are.
 */
class Scans {
public:
    /** Goes from scan to scan; finding the next one takes the count of this one. */
    class iterator {
    public:
        using value_type = Scan;
        using reference = Scan;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;
        using iterator_concept = std::forward_iterator_tag;

        iterator() noexcept = default;
        Scan operator*() const noexcept { return {number, {peaks, *count}, {peaks + *count, *count}}; }
        iterator& operator++() noexcept {
            peaks += 2 * std::size_t{*count};
            ++count;
            ++number;
            return *this;
        }
        iterator operator++(int) noexcept {
            const iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const iterator& a, const iterator& b) noexcept { return a.count == b.count; }

    private:
        friend class Scans;
        iterator(const std::uint32_t* countOfScan, const std::uint32_t* peaksOfScan,
                 std::uint32_t numberOfScan) noexcept
            : count(countOfScan), peaks(peaksOfScan), number(numberOfScan) {}

        const std::uint32_t* count = nullptr;
        const std::uint32_t* peaks = nullptr;
        std::uint32_t number = 0;
    };

    /** No scans. */
    Scans() noexcept = default;

    /**
     * @param words      what kova_read_scans_v2(), kova_read_scans_internal() or Analysis::readScans() wrote
     * @param scanBegin  first scan that was asked for
     * @param scanEnd    scan after the last one
     * @throws std::invalid_argument  if the words are not that many scans
     */
    Scans(std::span<const std::uint32_t> words, std::uint32_t scanBegin, std::uint32_t scanEnd)
        : all(words), first(scanBegin), number(scanEnd - scanBegin) {
        std::uint64_t expected = number;
        for (std::size_t i = 0; i < (std::min)(number, words.size()); ++i) {
            expected += 2 * std::uint64_t{words[i]};
        }
        if (scanEnd < scanBegin || expected != words.size()) {
            throw std::invalid_argument("The words are not those of the scans.");
        }
    }

    [[nodiscard]] iterator begin() const noexcept { return {all.data(), all.data() + number, first}; }
    [[nodiscard]] iterator end() const noexcept { return {all.data() + number, nullptr, 0}; }
    /** Number of scans. */
    [[nodiscard]] std::size_t size() const noexcept { return number; }
    [[nodiscard]] bool empty() const noexcept { return number == 0; }
    /** Number of peaks of each scan. */
    [[nodiscard]] std::span<const std::uint32_t> counts() const noexcept { return all.first(number); }
    /** Number of peaks of all scans together. */
    [[nodiscard]] std::size_t peakCount() const noexcept { return (all.size() - number) / 2; }

    /**
     * One scan. Adds up the counts before it: to visit many scans go through the range.
     *
     * @param scan  its number, counted from 0 at the beginning of the frame
     * @throws std::out_of_range  if the scan is not among these
     */
    [[nodiscard]] Scan at(std::uint32_t scan) const {
        if (scan < first || scan - first >= number) {
            throw std::out_of_range("The scan was not read.");
        }
        return *std::next(begin(), static_cast<std::ptrdiff_t>(scan - first));
    }

private:
    friend class Frame;
    struct Trusted {};
    // Words that the library has just written need no check.
    Scans(Trusted, std::span<const std::uint32_t> words, std::uint32_t scanBegin, std::size_t count) noexcept
        : all(words), first(scanBegin), number(count) {}

    std::span<const std::uint32_t> all;
    std::uint32_t first = 0;
    std::size_t number = 0;
};

/**
 * The peaks of a range of scans of one frame, with the memory they are in.
 *
 * A value: copies are independent of the analysis and of each other. Hand the same object to Analysis::readFrame() again and
 * its memory is used again. All spans and scans look at this memory.
 */
class Frame {
public:
    using value_type = Scan;
    using iterator = Scans::iterator;
    using const_iterator = Scans::iterator;

    /** A frame without scans; memory is taken when it is read. */
    Frame() noexcept = default;

    /** "Id" of the row of table "Frames". */
    [[nodiscard]] std::int64_t id() const noexcept { return identity; }
    /** The scans as a range of Scan. */
    [[nodiscard]] Scans scans() const& noexcept { return {Scans::Trusted{}, memory, first, size()}; }
    Scans scans() const&& = delete;
    [[nodiscard]] iterator begin() const& noexcept { return scans().begin(); }
    iterator begin() const&& = delete;
    [[nodiscard]] iterator end() const& noexcept { return scans().end(); }
    iterator end() const&& = delete;
    /** Number of scans that were read, with those without peaks; 0 after a failure and when moved from. */
    [[nodiscard]] std::size_t size() const noexcept { return memory.empty() ? 0 : number; }
    [[nodiscard]] bool empty() const noexcept { return memory.empty(); }
    /** Number of peaks of each scan. */
    [[nodiscard]] std::span<const std::uint32_t> counts() const& noexcept { return scans().counts(); }
    std::span<const std::uint32_t> counts() const&& = delete;
    /** Number of peaks of all scans together. */
    [[nodiscard]] std::size_t peakCount() const noexcept { return scans().peakCount(); }
    /** One scan by its number, as Scans::at(). */
    [[nodiscard]] Scan at(std::uint32_t scan) const& { return scans().at(scan); }
    Scan at(std::uint32_t scan) const&& = delete;
    /** Indices of one scan; adds up the counts before it, as Scans::at(). */
    [[nodiscard]] std::span<const std::uint32_t> indices(std::uint32_t scan) const& {
        return at(scan).indices;
    }
    std::span<const std::uint32_t> indices(std::uint32_t scan) const&& = delete;
    /** Intensities of one scan; adds up the counts before it, as Scans::at(). */
    [[nodiscard]] std::span<const std::uint32_t> intensities(std::uint32_t scan) const& {
        return at(scan).intensities;
    }
    std::span<const std::uint32_t> intensities(std::uint32_t scan) const&& = delete;

private:
    friend class Analysis;

    Array<std::uint32_t> memory;
    std::int64_t identity = 0;
    std::uint32_t first = 0;
    std::size_t number = 0;
};

/** MS/MS spectrum of one precursor, see kova_zorel_msms_callback_v2. Both vectors have the same size. */
struct MsMsSpectrum {
    std::int64_t precursor = 0; /**< "Id" of the row of table "Precursors" */
    std::vector<double> mz;     /**< m/z of each peak in Th, in the order of their time-of-flight indices */
    std::vector<float> intensities; /**< largest bin at the apex of each peak */
};

/** MS/MS profile of one precursor, see kova_zorel_profile_callback_v2. */
struct MsMsProfile {
    std::int64_t precursor = 0;            /**< "Id" of the row of table "Precursors" */
    std::vector<std::int32_t> intensities; /**< summed intensity of each time-of-flight index from 0 */
};

/** Line spectrum of an analysis without mobility: detected peaks, one entry of each array for each of them. */
struct LineSpectrum {
    Array<double> positions;  /**< fractional time-of-flight indices, for SpectrumAnalysis::indexToMz() */
    Array<float> intensities; /**< intensities as stored */
    Array<float> widths;      /**< widths as stored; empty when they were not asked for */
};

/** @} */

/** What the functions below have in common; not part of the interface. */
namespace detail {

inline std::string textFrom(decltype(&kova_get_last_error_string) get) {
    std::string text(get(nullptr, 0), '\0');
    get(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

[[noreturn]] inline void fail() { throw Error(textFrom(&kova_get_last_error_string)); }
[[noreturn]] inline void failSpectrum() { throw Error(textFrom(&kvs_get_last_error_string)); }

inline std::uint32_t checkedCount(std::size_t count) {
    if (count > (std::numeric_limits<std::uint32_t>::max)()) {
        throw std::length_error("More values than one call takes.");
    }
    return static_cast<std::uint32_t>(count);
}

// More room than a call can be told of is as good as the most that it can.
inline std::uint32_t countAtMost(std::size_t count) noexcept {
    constexpr std::size_t most = (std::numeric_limits<std::uint32_t>::max)();
    return static_cast<std::uint32_t>((std::min)(count, most));
}

using Convert = std::uint32_t (*)(std::uint64_t, std::int64_t, const double*, double*, std::uint32_t);

template <Convert function, auto failWith = &fail>
void convert(std::uint64_t handle, std::int64_t id, std::span<const double> in, std::span<double> out) {
    if (in.size() != out.size()) {
        throw std::invalid_argument("Input and output of a conversion differ in size.");
    }
    if (function(handle, id, in.data(), out.data(), checkedCount(in.size())) == 0) {
        failWith();
    }
}

template <Convert function, auto failWith = &fail>
void convertIntegers(std::uint64_t handle, std::int64_t id, std::span<const std::uint32_t> in,
                     std::span<double> out) {
    if (in.size() != out.size()) {
        throw std::invalid_argument("Input and output of a conversion differ in size.");
    }
    std::copy(in.begin(), in.end(), out.begin());
    convert<function, failWith>(handle, id, out, out);
}

template <Convert function, auto failWith = &fail>
double convertOne(std::uint64_t handle, std::int64_t id, double value) {
    double result = 0.0;
    if (function(handle, id, &value, &result, 1) == 0) {
        failWith();
    }
    return result;
}

// A caller's function on its way through the library as context pointer. What it throws waits here for the call to
// return, since nothing may be thrown through C; what comes after it is not passed on.
template <class Function>
struct Callback {
    template <class... Values>
    void operator()(Values... values) noexcept {
        if (failure) {
            return;
        }
        try {
            function(values...);
        } catch (...) {
            failure = std::current_exception();
        }
    }
    void finish(std::uint32_t result) const {
        if (failure) {
            std::rethrow_exception(failure);
        }
        if (result == 0) {
            fail();
        }
    }

    Function& function;
    std::exception_ptr failure = nullptr;
};

template <class Function>
void onSpectrum(std::int64_t precursor, std::uint32_t count, const double* mz, const float* intensities,
                void* context) noexcept {
    (*static_cast<Callback<Function>*>(context))(precursor, std::span<const double>(mz, count),
                                                 std::span<const float>(intensities, count));
}

template <class Function>
void onProfile(std::int64_t precursor, std::uint32_t count, const std::int32_t* intensities,
               void* context) noexcept {
    (*static_cast<Callback<Function>*>(context))(precursor,
                                                 std::span<const std::int32_t>(intensities, count));
}

}  // namespace detail

/** What takes MS/MS spectra: (id of the precursor, m/z in Th, intensities). The spans are valid until it returns. */
template <class Function>
concept MsMsFunction =
    std::invocable<Function&, std::int64_t, std::span<const double>, std::span<const float>>;

/** What takes MS/MS profiles: (id of the precursor, intensity of each index). The span is valid until it returns. */
template <class Function>
concept MsMsProfileFunction = std::invocable<Function&, std::int64_t, std::span<const std::int32_t>>;

/** @defgroup cpp_analysis Analyses with ion mobility
 *  @{ */

/**
 * An open analysis with ion mobility (`analysis.kvd`).
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
        if (opened == 0) {
            detail::fail();
        }
    }
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;
    Analysis(Analysis&& other) noexcept : opened(std::exchange(other.opened, 0)) {}
    Analysis& operator=(Analysis&& other) noexcept {
        if (this != &other) {
            kova_close(opened);
            opened = std::exchange(other.opened, 0);
        }
        return *this;
    }
    /** Closes the analysis. */
    ~Analysis() { kova_close(opened); }

    /** The handle, for calls of kova.h; the analysis stays its owner. */
    [[nodiscard]] std::uint64_t handle() const noexcept { return opened; }

    /** Whether a re-calibrated state is in use, see kova_has_recalibrated_state(). */
    [[nodiscard]] bool isRecalibrated() const noexcept { return kova_has_recalibrated_state(opened) != 0; }

    /**
     * Number of scans of a frame.
     *
     * Where table "Frames" has a column "NumScans", that tells it for nothing. Here it is found by asking for single scans, the
     * last of them out of range: some dozens of short calls, and the frame is decompressed.
     *
     * @param frameId  "Id" of a row of table "Frames"
     * @return number of scans, with those without peaks
     * @throws Error  if the frame cannot be read
     */
    [[nodiscard]] std::uint32_t countScans(std::int64_t frameId) {
        std::uint64_t there = 0;   // so many there are at least,
        std::uint64_t beyond = 1;  // and fewer than these, once the first loop has ended
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
        const std::uint32_t needed = read(opened, frameId, scanBegin, scanEnd, words.data(), size);
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
     * Input and output have the same size and may be the same memory, but not overlap otherwise. Integers, as the scans have
     * them, are taken too. Convert arrays rather than single values. They throw Error where the C functions fail (unknown
     * frame, missing calibration), std::invalid_argument when the sizes differ, and std::length_error above 4294967295 values.
     * @{
     */
    /** See kova_index_to_mz(). */
    void indexToMz(std::int64_t frameId, std::span<const double> index, std::span<double> mz) {
        detail::convert<&kova_index_to_mz>(opened, frameId, index, mz);
    }
    /** See kova_index_to_mz(). */
    void indexToMz(std::int64_t frameId, std::span<const std::uint32_t> index, std::span<double> mz) {
        detail::convertIntegers<&kova_index_to_mz>(opened, frameId, index, mz);
    }
    /** See kova_index_to_mz(). */
    [[nodiscard]] double indexToMz(std::int64_t frameId, double index) {
        return detail::convertOne<&kova_index_to_mz>(opened, frameId, index);
    }
    /** See kova_mz_to_index(). */
    void mzToIndex(std::int64_t frameId, std::span<const double> mz, std::span<double> index) {
        detail::convert<&kova_mz_to_index>(opened, frameId, mz, index);
    }
    /** See kova_mz_to_index(). */
    [[nodiscard]] double mzToIndex(std::int64_t frameId, double mz) {
        return detail::convertOne<&kova_mz_to_index>(opened, frameId, mz);
    }
    /** See kova_scannum_to_oneoverk0(). */
    void scanToOneOverK0(std::int64_t frameId, std::span<const double> scan, std::span<double> oneOverK0) {
        detail::convert<&kova_scannum_to_oneoverk0>(opened, frameId, scan, oneOverK0);
    }
    /** See kova_scannum_to_oneoverk0(). */
    void scanToOneOverK0(std::int64_t frameId, std::span<const std::uint32_t> scan,
                         std::span<double> oneOverK0) {
        detail::convertIntegers<&kova_scannum_to_oneoverk0>(opened, frameId, scan, oneOverK0);
    }
    /** See kova_scannum_to_oneoverk0(). */
    [[nodiscard]] double scanToOneOverK0(std::int64_t frameId, double scan) {
        return detail::convertOne<&kova_scannum_to_oneoverk0>(opened, frameId, scan);
    }
    /** See kova_oneoverk0_to_scannum(). */
    void oneOverK0ToScan(std::int64_t frameId, std::span<const double> oneOverK0, std::span<double> scan) {
        detail::convert<&kova_oneoverk0_to_scannum>(opened, frameId, oneOverK0, scan);
    }
    /** See kova_oneoverk0_to_scannum(). */
    [[nodiscard]] double oneOverK0ToScan(std::int64_t frameId, double oneOverK0) {
        return detail::convertOne<&kova_oneoverk0_to_scannum>(opened, frameId, oneOverK0);
    }
    /** See kova_scannum_to_voltage(). */
    void scanToVoltage(std::int64_t frameId, std::span<const double> scan, std::span<double> voltage) {
        detail::convert<&kova_scannum_to_voltage>(opened, frameId, scan, voltage);
    }
    /** See kova_scannum_to_voltage(). */
    void scanToVoltage(std::int64_t frameId, std::span<const std::uint32_t> scan, std::span<double> voltage) {
        detail::convertIntegers<&kova_scannum_to_voltage>(opened, frameId, scan, voltage);
    }
    /** See kova_scannum_to_voltage(). */
    [[nodiscard]] double scanToVoltage(std::int64_t frameId, double scan) {
        return detail::convertOne<&kova_scannum_to_voltage>(opened, frameId, scan);
    }
    /** See kova_voltage_to_scannum(). */
    void voltageToScan(std::int64_t frameId, std::span<const double> voltage, std::span<double> scan) {
        detail::convert<&kova_voltage_to_scannum>(opened, frameId, voltage, scan);
    }
    /** See kova_voltage_to_scannum(). */
    [[nodiscard]] double voltageToScan(std::int64_t frameId, double voltage) {
        return detail::convertOne<&kova_voltage_to_scannum>(opened, frameId, voltage);
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
            kova_read_zorel_msms_v2(opened, precursors.data(), detail::checkedCount(precursors.size()),
                                    &detail::onSpectrum<std::remove_reference_t<Function>>, &callback));
    }
    /** Line spectra of all precursors selected in one MS1 frame, see kova_read_zorel_msms_for_frame_v2(). */
    template <MsMsFunction Function>
    void readMsMsOfFrame(std::int64_t frameId, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(kova_read_zorel_msms_for_frame_v2(
            opened, frameId, &detail::onSpectrum<std::remove_reference_t<Function>>, &callback));
    }
    /** Profiles of the listed precursors, see kova_read_zorel_profile_msms_v2(). */
    template <MsMsProfileFunction Function>
    void readMsMsProfiles(std::span<const std::int64_t> precursors, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(kova_read_zorel_profile_msms_v2(
            opened, precursors.data(), detail::checkedCount(precursors.size()),
            &detail::onProfile<std::remove_reference_t<Function>>, &callback));
    }
    /** Profiles of all precursors selected in one MS1 frame, see kova_read_zorel_profile_msms_for_frame_v2(). */
    template <MsMsProfileFunction Function>
    void readMsMsProfilesOfFrame(std::int64_t frameId, Function&& function) {
        detail::Callback<std::remove_reference_t<Function>> callback{function};
        callback.finish(kova_read_zorel_profile_msms_for_frame_v2(
            opened, frameId, &detail::onProfile<std::remove_reference_t<Function>>, &callback));
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
    // A scan with damaged data is there nevertheless.
    bool hasScan(std::int64_t frameId, std::uint64_t scan) {
        if (scan >= (std::numeric_limits<std::uint32_t>::max)()) {
            return false;
        }
        const auto begin = static_cast<std::uint32_t>(scan);
        if (kova_read_scans_internal(opened, frameId, begin, begin + 1, nullptr, 0) != 0) {
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

    std::uint64_t opened;
};

/** @} */

/** @defgroup cpp_spectra Analyses without ion mobility
 *  @{ */

/**
 * An open analysis without ion mobility (`analysis.kvs`): one spectrum per row of table "Frames".
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
        if (opened == 0) {
            detail::failSpectrum();
        }
    }
    SpectrumAnalysis(const SpectrumAnalysis&) = delete;
    SpectrumAnalysis& operator=(const SpectrumAnalysis&) = delete;
    SpectrumAnalysis(SpectrumAnalysis&& other) noexcept : opened(std::exchange(other.opened, 0)) {}
    SpectrumAnalysis& operator=(SpectrumAnalysis&& other) noexcept {
        if (this != &other) {
            kvs_close(opened);
            opened = std::exchange(other.opened, 0);
        }
        return *this;
    }
    /** Closes the analysis. */
    ~SpectrumAnalysis() { kvs_close(opened); }

    /** The handle, for calls of kvs.h; the analysis stays its owner. */
    [[nodiscard]] std::uint64_t handle() const noexcept { return opened; }

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
            return kvs_read_line_spectrum(opened, spectrumId, positions.data(), intensities.data(),
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
            return kvs_read_line_spectrum_with_width(opened, spectrumId, positions.data(), intensities.data(),
                                                     widths.data(), detail::countAtMost(room));
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
            return kvs_read_profile_spectrum(opened, spectrumId, intensities.data(),
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
        detail::convert<&kvs_index_to_mz, &detail::failSpectrum>(opened, spectrumId, index, mz);
    }
    /** See kvs_index_to_mz(). */
    [[nodiscard]] double indexToMz(std::int64_t spectrumId, double index) {
        return detail::convertOne<&kvs_index_to_mz, &detail::failSpectrum>(opened, spectrumId, index);
    }
    /** See kvs_mz_to_index(). */
    void mzToIndex(std::int64_t spectrumId, std::span<const double> mz, std::span<double> index) {
        detail::convert<&kvs_mz_to_index, &detail::failSpectrum>(opened, spectrumId, mz, index);
    }
    /** See kvs_mz_to_index(). */
    [[nodiscard]] double mzToIndex(std::int64_t spectrumId, double mz) {
        return detail::convertOne<&kvs_mz_to_index, &detail::failSpectrum>(opened, spectrumId, mz);
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

    std::uint64_t opened;
};

/** @} */

/** @addtogroup cpp_analysis
 *  @{ */

/**
 * Collisional cross section of an ion in nitrogen, see kova_oneoverk0_to_ccs_for_mz(). Any thread.
 *
 * @param oneOverK0  1/K0 in V s / cm^2
 * @param charge     charge number with its sign
 * @param mz         m/z in Th
 * @return CCS in square angstrom
 */
[[nodiscard]] inline double oneOverK0ToCcs(double oneOverK0, std::int32_t charge, double mz) noexcept {
    return kova_oneoverk0_to_ccs_for_mz(oneOverK0, charge, mz);
}

/**
 * 1/K0 of an ion in nitrogen, see kova_ccs_to_oneoverk0_for_mz(). Any thread.
 *
 * @param ccs     collisional cross section in square angstrom
 * @param charge  charge number with its sign
 * @param mz      m/z in Th
 * @return 1/K0 in V s / cm^2
 */
[[nodiscard]] inline double ccsToOneOverK0(double ccs, std::int32_t charge, double mz) noexcept {
    return kova_ccs_to_oneoverk0_for_mz(ccs, charge, mz);
}

/** Number of worker threads for later conversions of the calling thread, at least 1, see kova_set_num_threads(). */
inline void setNumThreads(std::uint32_t count) noexcept { kova_set_num_threads(count); }

/** @} */

}  // namespace kova

#endif
#endif
