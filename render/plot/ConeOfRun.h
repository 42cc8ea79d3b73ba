#ifndef RENDER_PLOT_CONEOFRUN_H
#define RENDER_PLOT_CONEOFRUN_H

#include "measure/CausalCone.h"
#include "measure/FindCauses.h"
#include "measure/RunBounds.h"
#include "measure/SpaceTime.h"
#include "render/plot/PlottedRun.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// A cone of causes as plots tell of it.
struct PlottedCone {
  CausalCone cone;
  TraceEvent event;  // of which it is
  ConeDirection direction = ConeDirection::BACK;
};

// The cone of a record. Faults as of FindCone.
[[nodiscard]] Result<PlottedCone> ConeToPlot(const Causes& causes, uint64_t record,
                                             ConeDirection direction,
                                             const ProgressCallback& progress = {});

// A map for its fires, of all cycles of the run, as fine as MapOfChain; ConeOverTime fills it.
SpaceTime EmptyMapOf(const PlottedRun& run, const PlotStyle& style);

// All that led to an event, or that followed from it: on the array and on the map of its fires.
Plot PlotCone(const PlottedRun& run, const PlottedCone& cone, SpaceTime map,
              const PlotStyle& style);

// By how much later elements could have fired without the run being longer: the array. Of a domain
// or cluster the least of its elements. `certain` is whether no cause is inferred.
Plot PlotSlack(const PlottedRun& run, const RunSlack& slack, bool certain, const PlotStyle& style);

}  // namespace marrowfin

#endif
