#include "render/plot/CauseWords.h"

#include "measure/NumberText.h"

namespace marrowfin {

std::string CauseEventName(const TraceEvent& event) {
  return event.type == FIRE_RECORD   ? "fire"
         : event.type == SEND_RECORD ? "message"
                                     : "transmission";
}

std::string CauseEventWords(const TraceEvent& event) {
  const std::string at = PlaceText(event.at.column, event.at.row);
  return (event.type == FIRE_RECORD ? "fire: PE " + at
          : event.type == SEND_RECORD
              ? "message: " + at + " to " + PlaceText(event.to.column, event.to.row)
              : "transmission: switch at " + at) +
         ", thread " + std::to_string(event.thread) + ", cycle " + CountText(event.cycle);
}

std::string CauseEvidenceWords(bool certain) {
  return certain ? "causes as the run told them"
                 : "inferred: a fire is taken to use all messages to its PE and thread that were "
                   "sent before; likely, not certain";
}

}  // namespace marrowfin
