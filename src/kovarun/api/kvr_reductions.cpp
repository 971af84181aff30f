#include <algorithm>
#include <cmath>
#include <limits>

#include "kovarun/api/kvr_run.h"
#include "kovarun/reductions/image_axes.h"
#include "kovarun/reductions/reductions.h"

namespace {

using namespace lumo::run;

// What every reduction begins with. Arguments are checked in the order run, query, control, format of the
// analysis, then what is the reduction's own; a caller with several mistakes hears of the first.
struct Prepared {
    std::shared_ptr<Run> run;
    Query query;
    Control control;

    Prepared(kvr_run* handle, const kvr_query* asked, const kvr_control* how)
        : run(checked(handle).run), query(prepareQuery(*run, asked)), control(checkedControl(*run, how)) {
        run->borrow()->frames();  // refuses the other format
    }
};

}  // namespace

uint32_t kvr_chromatograms(kvr_run* run, const kvr_query* query, const kvr_target* targets,
                           uint64_t num_targets, uint32_t reduce, const kvr_control* control,
                           ArrowArrayStream* stream) {
    return callForStream(stream, [&] {
        Prepared with(run, query, control);
        return makeChromatograms(with.run, std::move(with.query),
                                 checkedTargets(targets, num_targets, with.control.limits.memoryBudget),
                                 checkedReduce(reduce), with.control);
    });
}

uint32_t kvr_mobilograms(kvr_run* run, const kvr_query* query, const kvr_target* targets,
                         uint64_t num_targets, uint32_t reduce, const kvr_control* control,
                         ArrowArrayStream* stream) {
    return callForStream(stream, [&] {
        Prepared with(run, query, control);
        return makeMobilograms(with.run, std::move(with.query),
                               checkedTargets(targets, num_targets, with.control.limits.memoryBudget),
                               checkedReduce(reduce), with.control);
    });
}

uint32_t kvr_summed_spectrum(kvr_run* run, const kvr_query* query, const kvr_control* control,
                             ArrowArrayStream* stream) {
    return callForStream(stream, [&] {
        Prepared with(run, query, control);
        return makeSummedSpectrum(with.run, std::move(with.query), with.control);
    });
}

uint32_t kvr_image(kvr_run* run, const kvr_query* query, kvr_axis* x, kvr_axis* y, uint32_t reduce,
                   const kvr_control* control, ArrowArrayStream* stream) {
    return callForStream(stream, [&] {
        Prepared with(run, query, control);
        // Two axes of one kind would make an image of nothing but its diagonal.
        if (x == nullptr || y == nullptr || x->kind == y->kind) {
            LUMO_THROW(std::invalid_argument("An image has two axes of different kinds."));
        }
        // Completed axes are given back to the caller, who learns from them alone where the cells of the
        // image lie.
        completeAxes(*with.run, with.query, *x, *y);
        return makeImage(with.run, std::move(with.query), toGridAxis(*x), toGridAxis(*y),
                         checkedReduce(reduce), with.control);
    });
}
