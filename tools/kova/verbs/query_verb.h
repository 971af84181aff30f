#pragma once

#include "kova/cli/query_options.h"
#include "kova/failure.h"
#include "kova/output/output_buffer.h"
#include "kova/run/arrow_stream.h"
#include "kova/run/long_call.h"
#include "kova/run/run.h"

namespace kova_tool {

struct QueryWork {
    UsualFrames usual;
    enum { WhileWriting, BeforeWriting } frames;  // when the library reads them
    std::uint64_t batchSize = 0;
};

// Answers a query: makes the stream, writes what it gives, and reports damaged frames after everything that
// is good has been written, so that the report does not stand in the middle of a table.
template <class Make, class Write>
int answer(const QueryOptions& options, const QueryWork& work, const Make& make, const Write& write) {
    Query query(options);
    const Run run(options.directory, options.calibration, RunKind::Mobility);
    const bool shows = work.frames == QueryWork::WhileWriting ? options.showsProgressBesideOutput()
                                                              : options.showsProgress();
    LongCall call(options.work(shows), "frames", work.batchSize);
    ArrowStream stream([&](ArrowArrayStream* filled) {
        return make(run.get(), query.forRun(run, work.usual), call.control(), filled);
    });
    OutputBuffer out;
    write(stream, out);
    out.flush();
    call.finish();
    return kExitOk;
}

}  // namespace kova_tool
