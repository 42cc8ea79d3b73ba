#ifndef CONVERT_EXPORT_EXPORTER_H
#define CONVERT_EXPORT_EXPORTER_H

#include "convert/export/EventLines.h"
#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// Writes events in the format of another program, in order of the trace. It is called as its
// functions stand here, from top to bottom, and not again after a fault. Memory follows the array
// and what the notes declare, never the trace. Threads: one at a time.
class Exporter {
 public:
  virtual ~Exporter() = default;

  // Whether all events are to be shown first, for a format that begins with a list of what will
  // come.
  virtual bool WantsSurvey() const { return false; }
  virtual void Survey(const NotedSelection&) {}
  virtual void SurveySample(const CounterSample&) {}

  // Whether events are to be added with their steps.
  virtual bool WantsSteps() const { return false; }

  [[nodiscard]] virtual Fault Begin() { return {}; }
  [[nodiscard]] virtual Fault Add(const NotedSelection& events) = 0;

  // The values of counters come behind all events, those of one counter and place in order of time.
  virtual bool TakesSamples() const { return false; }
  [[nodiscard]] virtual Fault AddSample(const CounterSample&) { return {}; }

  // For a format in which much can be written only when all is known: it takes as long as that
  // takes. `progress` counts records.
  [[nodiscard]] virtual Fault WriteRest(const ProgressCallback&) { return {}; }

  // Writes the rest. Only then is what was written whole.
  [[nodiscard]] virtual Fault End() { return {}; }
};

}  // namespace marrowfin

#endif
