#include "measure/AlignRuns.h"

#include "measure/AlignFires.h"
#include "measure/AlignUnits.h"

namespace marrowfin {

Result<RunAlignment> AlignRuns(const TraceSource& a, const TraceSource& b,
                               const AlignQuestion& question, const ProgressCallback& progress) {
  return question.alignment == Alignment::FIRE ? AlignFires(a, b, question, progress)
                                               : AlignUnits(a, b, question, progress);
}

}  // namespace marrowfin
