#include "trace/ask/EventCursor.h"

namespace marrowfin {

void EventCursor::Seek(uint64_t record) {
  found = Selection();
  row = 0;
  batches.Seek(record);
}

bool EventCursor::Next(TraceEvent& event) {
  if (row == found.Size()) {
    if (found.columns != nullptr) {
      batches.Seek(found.end);
    }
    found = Selection();
    row = 0;
    if (!batches.Next(found)) {
      found = Selection();
      return false;
    }
  }
  event = found.Event(row++);
  return true;
}

bool EventCursor::Previous(TraceEvent& event) {
  if (row == 0) {
    if (found.columns != nullptr) {
      batches.Seek(found.begin);
    }
    found = Selection();
    if (!batches.Previous(found)) {
      found = Selection();
      return false;
    }
    row = found.Size();
  }
  event = found.Event(--row);
  return true;
}

}  // namespace marrowfin
