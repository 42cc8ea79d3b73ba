#include "measure/RunAlignment.h"

namespace marrowfin {

const char* AlignmentName(Alignment alignment) {
  switch (alignment) {
    case Alignment::CYCLE:
      return "cycle";
    case Alignment::STEP:
      return "step";
    case Alignment::FIRE:
      return "fire";
    case Alignment::PHASE:
      break;
  }
  return "phase";
}

bool AlignQuestion::ChoosesAlike() const {
  const uint64_t end = ~uint64_t{0};
  return filterA == filterB && filterA.firstRecord == 0 && filterA.lastRecord == end;
}

}  // namespace marrowfin
