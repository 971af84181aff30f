#include "kovarun/arrow/stream.h"

#include <cerrno>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <cxxabi.h>

#include "kovadata/interface_family.h"
#include "kovadata/last_error.h"
#include "kovarun/arrow/c_data.h"
#include "kovarun/errors.h"
#include "sys/cancellation.h"

// A stream of batches as C functions. No exception may pass through them, so each step catches what it
// raises, keeps the text for get_last_error() and returns an errno code. After a failure the stream stays
// failed, and its threads and readers are released right then, since a consumer may keep a failed stream for
// long. The codes tell apart what a caller treats differently: ECANCELED, ENOMEM, EINVAL, and EIO for
// everything that is wrong with the data.
namespace lumo::run::arrow {

namespace {

// Lack of memory first: it may end a call whatever the caller asked for.
int errorCodeOf(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return ENOMEM;
    }
    if (dynamic_cast<const Cancelled*>(&error) != nullptr) {
        return ECANCELED;
    }
    return dynamic_cast<const std::invalid_argument*>(&error) != nullptr ? EINVAL : EIO;
}

// What an ArrowArrayStream owns. The schema is kept apart from the source, so it can be asked for after the
// last batch too, when the source is gone already.
class ExportedStream {
public:
    explicit ExportedStream(std::unique_ptr<BatchSource> batches)
        : source(std::move(batches)), columns(source->schema()) {}

    // Runs a step of the stream and turns what it raises into an error code.
    template <class Step>
    int guarded(Step&& step) {
        if (code != 0) {
            return code;
        }
        const sys::CancellationDisabled untilReturn;
        try {
            step();
        } catch (const std::exception& error) {
            fail(error, errorCodeOf(error));
        } catch (const abi::__forced_unwind&) {
            throw;  // a callback ends the thread
        } catch (...) {
            fail(std::runtime_error("Unknown exception."), EIO);
        }
        return code;
    }

    void next(ArrowArray& out) {
        out = {};
        if (source == nullptr) {
            return;
        }
        if (std::optional<RecordBatch> batch = source->next()) {
            exportBatch(std::move(*batch), out);
        } else {
            source.reset();
        }
    }

    const char* lastError() const { return code == 0 ? nullptr : text.c_str(); }
    const std::vector<Field>& fields() const { return columns; }

private:
    void fail(const std::exception& error, int errorCode) noexcept {
        code = errorCode;
        io::LastError<io::KvrInterface>::set(error);
        try {
            text = error.what();
        } catch (const std::bad_alloc&) {
            text = "std::bad_alloc";  // short enough to need no memory of its own
        }
        source.reset();
    }

    std::unique_ptr<BatchSource> source;
    std::vector<Field> columns;
    int code = 0;
    std::string text;
};

ExportedStream& streamOf(ArrowArrayStream* stream) {
    return *static_cast<ExportedStream*>(stream->private_data);
}

int getSchema(ArrowArrayStream* stream, ArrowSchema* out) {
    ExportedStream& exported = streamOf(stream);
    return exported.guarded([&] { exportSchema(exported.fields(), *out); });
}

int getNext(ArrowArrayStream* stream, ArrowArray* out) {
    ExportedStream& exported = streamOf(stream);
    return exported.guarded([&] { exported.next(*out); });
}

const char* getLastError(ArrowArrayStream* stream) { return streamOf(stream).lastError(); }

// Ends the threads that read ahead; batches that were given out stay valid.
void releaseStream(ArrowArrayStream* stream) {
    const sys::CancellationDisabled untilReturn;
    delete static_cast<ExportedStream*>(stream->private_data);
    stream->private_data = nullptr;
    stream->release = nullptr;
}

}  // namespace

void exportStream(std::unique_ptr<BatchSource> source, ArrowArrayStream& out) {
    auto exported = std::make_unique<ExportedStream>(std::move(source));
    out = {getSchema, getNext, getLastError, releaseStream, exported.release()};
}

}  // namespace lumo::run::arrow
