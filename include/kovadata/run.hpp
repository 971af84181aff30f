/**
 * @file run.hpp
 * The functions of kvr.h for C++20: runs that close themselves, streams as ranges of batches, failures as kova::Error.
 *
 * A program that uses it links `libkovarun.so` in place of `libkovadata.so`. Everything is inline over the C functions and adds
 * nothing to what they do; queries, columns and causes of failures are described in kvr.h. The conventions of kovadata.hpp hold,
 * with one difference: a run may be used by several threads at the same time.
 *
 *     kova::Run run("run.d");
 *     const kvr_range mz{500.0, 510.0};
 *     kova::Query query;
 *     query.mz = mz;
 *     for (const kova::Batch& batch : run.peaks(query, KVR_COLUMN_MZ | KVR_COLUMN_INTENSITY)) {
 *         use(batch.values<double>(0), batch.values<std::uint32_t>(1));
 *     }
 */
#ifndef KOVADATA_RUN_HPP
#define KOVADATA_RUN_HPP

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "error.hpp"
#include "kvr.h"

namespace kova {

namespace detail {

struct CloseRun {
    void operator()(kvr_run* run) const noexcept { kvr_close(run); }
};

}  // namespace detail

/** @defgroup cpp_run Whole runs
 *  @{ */

/** Some rows of a stream. Its memory is its own: it may outlive stream and run. */
class Batch {
public:
    /** Takes an array over, which is empty after it. */
    explicit Batch(ArrowArray& taken) noexcept : array(std::exchange(taken, ArrowArray{})) {}
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    Batch(Batch&& other) noexcept : Batch(other.array) {}
    Batch& operator=(Batch&& other) noexcept {
        std::swap(array, other.array);
        return *this;
    }
    ~Batch() {
        if (array.release != nullptr) {
            array.release(&array);
        }
    }

    [[nodiscard]] std::size_t rows() const noexcept { return static_cast<std::size_t>(array.length); }

    /**
     * The values of a column of numbers, one per row.
     *
     * @tparam T       the type that kvr.h states for it
     * @param column   its number, from 0
     * @throws std::out_of_range  if there is no such column
     */
    template <class T>
    [[nodiscard]] std::span<const T> values(std::size_t column) const {
        const ArrowArray& child = at(column);
        return {static_cast<const T*>(child.buffers[1]) + child.offset, rows()};
    }

    /**
     * Whether a row of a column has a value. Where not, values() holds any.
     *
     * @throws std::out_of_range  if there is no such column
     */
    [[nodiscard]] bool hasValue(std::size_t column, std::size_t row) const {
        const ArrowArray& child = at(column);
        const auto* const bits = static_cast<const std::uint8_t*>(child.buffers[0]);
        const std::size_t place = row + static_cast<std::size_t>(child.offset);
        return bits == nullptr || (bits[place / 8] >> place % 8 & 1) != 0;
    }

    /**
     * One row of a column of lists, as spectra have them.
     *
     * @throws std::out_of_range  if there is no such column or row
     */
    template <class T>
    [[nodiscard]] std::span<const T> list(std::size_t column, std::size_t row) const {
        const ArrowArray& child = at(column);
        if (row >= rows() || child.n_buffers != 2) {
            throw std::out_of_range("There is no such list in the batch.");
        }
        const auto* const offsets = static_cast<const std::int32_t*>(child.buffers[1]) + child.offset + row;
        const ArrowArray& items = *child.children[0];
        return {static_cast<const T*>(items.buffers[1]) + items.offset + offsets[0],
                static_cast<std::size_t>(offsets[1] - offsets[0])};
    }

    /**
     * One row of a column of lists that are all equally long: the values of targets, or the cells of a row of an image.
     *
     * @param column  its number, from 0
     * @param row     which list
     * @param width   how many values a row has
     * @throws std::out_of_range  if there is no such column or row, or it is not so long
     */
    template <class T>
    [[nodiscard]] std::span<const T> list(std::size_t column, std::size_t row, std::size_t width) const {
        const ArrowArray& child = at(column);
        const std::size_t place = row + static_cast<std::size_t>(child.offset);
        if (row >= rows() || child.n_children != 1 || child.n_buffers != 1 ||
            (place + 1) * width > static_cast<std::size_t>(child.children[0]->length)) {
            throw std::out_of_range("There is no such list in the batch.");
        }
        const ArrowArray& items = *child.children[0];
        return {static_cast<const T*>(items.buffers[1]) + items.offset + place * width, width};
    }

    /** Hands the array to the caller, who releases it. */
    [[nodiscard]] ArrowArray release() noexcept { return std::exchange(array, ArrowArray{}); }

private:
    [[nodiscard]] const ArrowArray& at(std::size_t column) const {
        if (column >= static_cast<std::size_t>(array.n_children)) {
            throw std::out_of_range("There is no such column in the batch.");
        }
        return *array.children[column];
    }

    ArrowArray array;
};

/** What a call gives: batches, one after the other. It goes once through a range-based for; it may outlive its run. */
class Stream {
public:
    Stream() noexcept : stream{} {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    Stream(Stream&& other) noexcept : stream(std::exchange(other.stream, ArrowArrayStream{})) {}
    Stream& operator=(Stream&& other) noexcept {
        std::swap(stream, other.stream);
        return *this;
    }
    ~Stream() {
        if (stream.release != nullptr) {
            stream.release(&stream);
        }
    }

    /**
     * The next batch; empty after the last.
     *
     * @throws Error  what ends the stream
     */
    [[nodiscard]] std::optional<Batch> next() {
        ArrowArray array{};
        if (stream.get_next(&stream, &array) != 0) {
            throw Error(stream.get_last_error(&stream));
        }
        return array.release == nullptr ? std::nullopt : std::optional<Batch>(std::in_place, array);
    }

    /** Goes through the batches that are left. */
    class Iterator {
    public:
        using iterator_concept = std::input_iterator_tag;
        using value_type = Batch;
        using difference_type = std::ptrdiff_t;

        explicit Iterator(Stream& source) : stream(&source), batch(source.next()) {}
        [[nodiscard]] const Batch& operator*() const noexcept { return *batch; }
        Iterator& operator++() {
            batch = stream->next();
            return *this;
        }
        void operator++(int) { ++*this; }
        [[nodiscard]] bool operator==(std::default_sentinel_t) const noexcept { return !batch; }

    private:
        Stream* stream;
        std::optional<Batch> batch;
    };

    [[nodiscard]] Iterator begin() { return Iterator(*this); }
    [[nodiscard]] static std::default_sentinel_t end() noexcept { return {}; }

    /** Hands the stream to the caller, who releases it: what takes Arrow C streams takes this. */
    [[nodiscard]] ArrowArrayStream release() noexcept { return std::exchange(stream, ArrowArrayStream{}); }

    /** Where a function of kvr.h puts a stream. */
    [[nodiscard]] ArrowArrayStream* out() noexcept { return &stream; }

private:
    ArrowArrayStream stream;
};

/** Which peaks a call is about, see kvr_query; what is not set is not limited. */
struct Query {
    std::optional<std::span<const std::int64_t>> frames;
    std::uint32_t msLevel = 0;
    std::optional<kvr_range> time;
    std::optional<kvr_range> mz;
    std::optional<kvr_range> oneOverK0;
    std::uint32_t scanBegin = 0;
    std::uint32_t scanEnd = 0;
    std::uint32_t intensities = KVR_INTENSITIES_DEFAULT;
};

/** How a call works, see kvr_control; made with its size set. */
struct Control : kvr_control {
    Control() : kvr_control{} { size = sizeof(kvr_control); }
};

/** How a run is opened, see kvr_options; made with its size set. */
struct RunOptions : kvr_options {
    RunOptions() : kvr_options{} { size = sizeof(kvr_options); }
};

/** An open analysis of either format, closed by its destructor; streams of it go on. */
class Run {
public:
    /**
     * Opens a run, see kvr_open().
     *
     * @throws Error  if it cannot be opened
     */
    explicit Run(const std::string& directory, const RunOptions& options = {})
        : opened(kvr_open(directory.c_str(), &options)) {
        require(opened != nullptr);
    }

    /** For calls of kvr.h; the run stays its owner. */
    [[nodiscard]] kvr_run* get() const noexcept { return opened.get(); }

    /** See kvr_get_info(). */
    [[nodiscard]] kvr_info info() const {
        kvr_info known{};
        known.size = sizeof known;
        require(kvr_get_info(get(), &known) != 0);
        return known;
    }
    /** See kvr_get_counters(). */
    [[nodiscard]] kvr_counters counters() const {
        kvr_counters known{};
        known.size = sizeof known;
        require(kvr_get_counters(get(), &known) != 0);
        return known;
    }
    /** See kvr_count_scans(). */
    [[nodiscard]] std::uint32_t countScans(std::int64_t frame) const {
        std::uint32_t scans = 0;
        require(kvr_count_scans(get(), frame, &scans) != 0);
        return scans;
    }

    /** See kvr_table(). */
    [[nodiscard]] Stream table(kvr_table_kind kind) const {
        return make([&](ArrowArrayStream* out) { return kvr_table(get(), kind, out); });
    }
    /** See kvr_precursors(). */
    [[nodiscard]] Stream precursors(std::span<const std::int64_t> ids) const {
        return make(
            [&](ArrowArrayStream* out) { return kvr_precursors(get(), ids.data(), ids.size(), out); });
    }
    /** See kvr_peaks(). */
    [[nodiscard]] Stream peaks(const Query& query = {}, std::uint32_t columns = 0,
                               const Control& control = {}) const {
        const Given given(query);
        return make(
            [&](ArrowArrayStream* out) { return kvr_peaks(get(), &given.query, columns, &control, out); });
    }
    /** See kvr_chromatograms(). */
    [[nodiscard]] Stream chromatograms(std::span<const kvr_target> targets, const Query& query = {},
                                       kvr_reduce reduce = KVR_REDUCE_SUM,
                                       const Control& control = {}) const {
        const Given given(query);
        return make([&](ArrowArrayStream* out) {
            return kvr_chromatograms(get(), &given.query, targets.data(), targets.size(), reduce, &control,
                                     out);
        });
    }
    /** See kvr_mobilograms(). */
    [[nodiscard]] Stream mobilograms(std::span<const kvr_target> targets, const Query& query = {},
                                     kvr_reduce reduce = KVR_REDUCE_SUM, const Control& control = {}) const {
        const Given given(query);
        return make([&](ArrowArrayStream* out) {
            return kvr_mobilograms(get(), &given.query, targets.data(), targets.size(), reduce, &control,
                                   out);
        });
    }
    /** See kvr_summed_spectrum(). */
    [[nodiscard]] Stream summedSpectrum(const Query& query = {}, const Control& control = {}) const {
        const Given given(query);
        return make(
            [&](ArrowArrayStream* out) { return kvr_summed_spectrum(get(), &given.query, &control, out); });
    }
    /** See kvr_image(); ranges of axes that were left open are written back. */
    [[nodiscard]] Stream image(kvr_axis& x, kvr_axis& y, const Query& query = {},
                               kvr_reduce reduce = KVR_REDUCE_SUM, const Control& control = {}) const {
        const Given given(query);
        return make([&](ArrowArrayStream* out) {
            return kvr_image(get(), &given.query, &x, &y, reduce, &control, out);
        });
    }
    /** See kvr_msms(): the spectra of all precursors, or of those listed. */
    [[nodiscard]] Stream msms(kvr_spectrum_kind kind = KVR_SPECTRUM_LINES,
                              std::optional<std::span<const std::int64_t>> precursors = {},
                              std::optional<std::int64_t> parent = {}, const Control& control = {}) const {
        const std::int64_t* const listed = precursors ? address(*precursors) : nullptr;
        return make([&](ArrowArrayStream* out) {
            return kvr_msms(get(), listed, precursors ? precursors->size() : 0, parent ? &*parent : nullptr,
                            kind, &control, out);
        });
    }
    /** See kvr_spectra(). */
    [[nodiscard]] Stream spectra(kvr_spectrum_kind kind = KVR_SPECTRUM_LINES, const Query& query = {},
                                 const Control& control = {}) const {
        const Given given(query);
        return make(
            [&](ArrowArrayStream* out) { return kvr_spectra(get(), &given.query, kind, &control, out); });
    }

private:
    // None of a list is another thing than no list.
    static const std::int64_t* address(std::span<const std::int64_t> ids) noexcept {
        static constexpr std::int64_t kNone = 0;
        return ids.empty() ? &kNone : ids.data();
    }

    /** @cond */
    // A query as C has it; it points into the one that it is made of.
    struct Given {
        explicit Given(const Query& from) : query{} {
            query.size = sizeof query;
            query.ms_level = from.msLevel;
            query.frames = from.frames ? address(*from.frames) : nullptr;
            query.num_frames = from.frames ? from.frames->size() : 0;
            query.time = from.time ? &*from.time : nullptr;
            query.mz = from.mz ? &*from.mz : nullptr;
            query.one_over_k0 = from.oneOverK0 ? &*from.oneOverK0 : nullptr;
            query.scan_begin = from.scanBegin;
            query.scan_end = from.scanEnd;
            query.intensities = from.intensities;
        }
        kvr_query query;
    };
    /** @endcond */

    static void require(bool holds) {
        if (!holds) {
            throw Error(detail::textFrom(&kvr_get_last_error_string));
        }
    }

    template <class Call>
    static Stream make(const Call& call) {
        Stream stream;
        require(call(stream.out()) != 0);
        return stream;
    }

    std::unique_ptr<kvr_run, detail::CloseRun> opened;
};

/** @} */

}  // namespace kova

#endif
