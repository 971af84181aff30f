#pragma once

#include <memory>
#include <vector>

#include "kovarun/arrow/stream.h"
#include "kovarun/query/query.h"
#include "kovarun/reductions/reduce.h"
#include "kovarun/reductions/targets.h"
#include "kovarun/run/control.h"

// The reductions of kvr.h as streams. Everything is checked already: queries by prepareQuery(), targets by
// checkedTargets(), axes by completeAxes(). Chromatograms are read group by group, the others as one sum over
// all frames.
namespace lumo::run {

std::unique_ptr<arrow::BatchSource> makeChromatograms(std::shared_ptr<Run> run, Query query,
                                                      std::vector<Target> targets, Reduce reduce,
                                                      const Control& control);

std::unique_ptr<arrow::BatchSource> makeMobilograms(std::shared_ptr<Run> run, Query query,
                                                    std::vector<Target> targets, Reduce reduce,
                                                    const Control& control);

std::unique_ptr<arrow::BatchSource> makeSummedSpectrum(std::shared_ptr<Run> run, Query query,
                                                       const Control& control);

// An axis of an image; `edges` are one more than cells.
struct GridAxis {
    enum class Kind { Time, Mass, OneOverK0 } kind = Kind::Mass;
    std::vector<double> edges;

    std::size_t cells() const { return edges.size() - 1; }
};

std::unique_ptr<arrow::BatchSource> makeImage(std::shared_ptr<Run> run, Query query, GridAxis x, GridAxis y,
                                              Reduce reduce, const Control& control);

}  // namespace lumo::run
