/**
 * @file frame.hpp
 * The peaks of mobility scans. Part of kovadata.hpp, whose conventions hold here; usable alone.
 */
#ifndef KOVADATA_FRAME_HPP
#define KOVADATA_FRAME_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <stdexcept>

#include "array.hpp"

namespace kova {

/** @addtogroup cpp_values
 *  @{ */

/** Whether intensities of scans are normalised, see kova_read_scans_v2(). */
enum class Intensities {
    normalised, /**< scaled for accumulation time as the schema version of the analysis implies */
    measured,   /**< as they were stored */
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

/** @} */

}  // namespace kova

#endif
