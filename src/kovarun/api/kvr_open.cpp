#include "kova-data-reader/scan-reading/scan_reader.h"
#include "kovadata/analysis_path.h"
#include "kovadata/last_error.h"
#include "kovarun/api/kvr_run.h"
#include "kovarun/run/sized.h"
#include "kovarun/tables/analysis_facts.h"
#include "sys/cancellation.h"

// Opening a run and asking about it. A handle for single frames is lent from the run: it is made when it is
// first asked for, and closed with the run.

using lumo::run::AnalysisFormat;

namespace {

// Opens the run's directory with the run's calibration once more, since the two interfaces share no state: a
// stream and the lent handle may be used at the same time.
template <class InstanceType>
uint64_t lend(kvr_run& handle) {
    if (!std::holds_alternative<std::unique_ptr<InstanceType>>(handle.lent)) {
        handle.lent = std::make_unique<InstanceType>(handle.run->directory(), handle.run->options().selector);
    }
    return reinterpret_cast<uint64_t>(std::get<std::unique_ptr<InstanceType>>(handle.lent).get());
}

// In a child process, what the parent opened is neither used nor closed.
void abandon(auto& lent) {
    if (auto* const instance = std::get_if<std::unique_ptr<lumo::io::Instance>>(&lent)) {
        static_cast<void>(instance->release());
    } else if (auto* const spectra = std::get_if<std::unique_ptr<lumo::io::KvsInstance>>(&lent)) {
        static_cast<void>(spectra->release());
    }
}

}  // namespace

kvr_run* kvr_open(const char* path, const kvr_options* options) {
    return lumo::io::guarded<lumo::io::KvrInterface>(static_cast<kvr_run*>(nullptr), [&] {
        auto handle = std::make_unique<kvr_run>(std::make_shared<lumo::run::Run>(
            lumo::io::checkedAnalysisPath(path), lumo::run::checkedOptions(options)));
        handle->calibrationState = handle->run->borrow()->analysis().getCalibrationStateId().value_or("");
        return handle.release();
    });
}

// Streams hold the run by themselves, so closing ends only the handle and what was lent from it.
void kvr_close(kvr_run* run) {
    const lumo::sys::CancellationDisabled untilReturn;
    if (run != nullptr && !run->run->isInOwnProcess()) {
        abandon(run->lent);
    }
    delete run;
}

uint32_t kvr_get_last_error_string(char* buf, uint32_t len) {
    return lumo::io::LastError<lumo::io::KvrInterface>::copyTo(buf, len);
}

uint32_t kvr_get_info(kvr_run* run, kvr_info* info) {
    return lumo::run::call([&] {
        kvr_run& handle = lumo::run::checked(run);
        kvr_info known = lumo::run::analysisFacts(*handle.run->borrow(), handle.run->format());
        known.calibration_state = handle.calibrationState.empty() ? nullptr : handle.calibrationState.c_str();
        lumo::run::giveBack(known, info, "kvr_info");
    });
}

uint64_t kvr_lend_handle(kvr_run* run) {
    return lumo::io::guarded<lumo::io::KvrInterface>(uint64_t{0}, [&] {
        kvr_run& handle = lumo::run::checked(run);
        // Two threads that ask for the first time must get the same handle.
        const std::lock_guard lock(handle.mutex);
        return handle.run->format() == AnalysisFormat::Mobility ? lend<lumo::io::Instance>(handle)
                                                                : lend<lumo::io::KvsInstance>(handle);
    });
}

// Borrows a reader like a stream does, so it may be called while streams are at work.
uint32_t kvr_count_scans(kvr_run* run, int64_t frame, uint32_t* scans) {
    return lumo::run::call([&] {
        lumo::run::Run& opened = *lumo::run::checked(run).run;
        if (scans == nullptr) {
            LUMO_THROW(std::invalid_argument("There is nowhere to put the number of scans."));
        }
        const lumo::sys::CountedWork counted(opened.counters());
        *scans = opened.borrow()->frames().scans().numberOfScans(frame);
    });
}

// Each counter is read by itself. While streams are at work, they need not be of one moment.
uint32_t kvr_get_counters(kvr_run* run, kvr_counters* counters) {
    return lumo::run::call([&] {
        const lumo::sys::WorkCounters& work = lumo::run::checked(run).run->counters();
        kvr_counters known = {};
        known.bytes_read = work.bytesRead;
        known.blocks_decompressed = work.blocksDecompressed;
        known.nanoseconds_reading = work.reading;
        known.nanoseconds_decompress = work.decompression;
        known.nanoseconds_decoding = work.decoding;
        known.nanoseconds_conversion = work.conversion;
        known.nanoseconds_queries = work.queries;
        lumo::run::giveBack(known, counters, "kvr_counters");
    });
}
